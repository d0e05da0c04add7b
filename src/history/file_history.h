#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "history/copy_comparison.h"
#include "history/file_timeline.h"
#include "history/record_changes.h"
#include "logfile/log_store.h"
#include "logfile/lsn_layout.h"
#include "logfile/volume_geometry.h"
#include "mft/inode_collection.h"
#include "operations/log_facts.h"
#include "portable/prefetch.h"

namespace kest {

// By LSN. Nothing if what the log lacks cannot be known.
using log_gaps = std::optional<std::vector<lsn_gap>>;

struct history_inputs {
    const log_store& log;
    const std::vector<bool>& rolled_back;  // by position of a record
    const log_facts& facts;
    const _inode_collection& inodes;  // its file is the MFT copy, if it is open
    volume_geometry geometry;
    copy_check check = {};   // is given the file records of the copy that can be compared
    bool with_data = false;  // changes have the values of data within file records, too
    bool threads_allowed = false;
};

// Gives the check what the history would give it, and replays nothing else.
uncompared_copies compare_copies(const history_inputs& inputs);

// The file records of a volume, replayed from its log. Shows bytes of its own, which live as long as it.
class file_history {
public:
    explicit file_history(const history_inputs& inputs);

    // By transaction, then by LSN of the first record.
    std::span<const record_change> changes() const { return m_changes.records; }
    std::span<const record_change> changes_of(std::uint32_t transaction) const {
        if (transaction + std::size_t{1} >= m_first_changes.size()) return {};
        return changes().subspan(m_first_changes[transaction],
                                 m_first_changes[transaction + 1] - m_first_changes[transaction]);
    }
    // Asks for what changes of transactions show whose turn comes soon: states lie in the order of file records.
    void prefetch(std::uint32_t transaction) const {
        constexpr std::uint32_t distance = 4;
        for (const record_change& change : changes_of(transaction)) {
            if (const standard_change* const standard = standard_of(change)) {
                uni::prefetch(&standard->before);
                uni::prefetch(&standard->after);
            }
            for (const attribute_change& attribute : attributes_of(change)) {
                uni::prefetch(&attribute.before);
                uni::prefetch(&attribute.after);
            }
        }
        for (const record_change& change : changes_of(transaction + distance)) {
            uni::prefetch(standard_of(change));
            uni::prefetch(attributes_of(change).data());
        }
    }
    const standard_change* standard_of(const record_change& change) const {
        return change.standard != 0 ? &m_changes.standards[change.standard - 1] : nullptr;
    }
    std::span<const attribute_change> attributes_of(const record_change& change) const {
        return std::span(m_changes.attributes).subspan(change.first_attribute, change.attribute_count);
    }
    const run_change* runs_of(const attribute_change& change) const {
        return change.runs != 0 ? &m_changes.runs[change.runs - 1] : nullptr;
    }
    // Positions in `changes`: by file record, then LSN; a change that was rolled back comes before the one around it.
    std::span<const std::uint32_t> by_number() const { return m_by_number; }
    const file_timeline& timeline() const { return m_timeline; }
    const log_gaps& gaps() const { return m_gaps; }
    // Some of what changed was too much to be kept.
    bool limits_hit() const { return m_changes.kept.exceeded() || m_other_changes.kept.exceeded(); }
    bool data_limit_hit() const { return m_changes.kept_data.exceeded(); }

private:
    void replay(const history_inputs& inputs);
    void order_changes(const log_store& log);

    log_gaps m_gaps;
    record_changes m_changes;
    record_changes m_other_changes;              // of a second thread: only the states that they show are left there
    std::vector<std::uint32_t> m_first_changes;  // of each transaction, and the end
    std::vector<std::uint32_t> m_by_number;
    file_timeline m_timeline;
};

}  // namespace kest
