#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "events/event.h"
#include "history/file_history.h"
#include "logfile/lsn_layout.h"
#include "mft/record_view.h"
#include "operations/log_facts.h"
#include "operations/stated_times.h"

namespace kest {

// What the system's clock showed along the log. Two kinds of records state it by themselves: journal records, and new
// file records, whose times the system sets. Between two of these it is known from what the system writes after a
// name has changed: the folder's times, and those of a file that got another name. A program can set such times, too,
// so they count as far as they fit the clock, and as most of them agree.
class log_clock {
public:
    // `history` must outlive it.
    log_clock(const log_store& log, const log_facts& facts, const file_history& history,
              const std::vector<stated_time>& stated);

    // Of what is no transaction's.
    event_time time_at(std::uint64_t lsn) const;
    // Of what a transaction did at an LSN.
    event_time time_of(std::uint32_t transaction, std::uint64_t lsn) const;
    // The same, if a file's own record gets `ticks` there and the clock may have shown it: it may be written late.
    event_time time_of(std::uint32_t transaction, std::uint64_t lsn, std::uint64_t ticks) const;
    // The latest time that the clock is known to have shown before; 0: none.
    std::uint64_t latest_before(std::uint64_t lsn) const { return lower(lsn); }
    // Whether the clock may have shown the time by then.
    bool has_passed(std::uint64_t ticks, std::uint64_t lsn) const;
    // Whether the clock was set back before, and may have shown the time since.
    bool was_set_back_to(std::uint64_t ticks, std::uint64_t lsn) const;

    // Whether a name was added to a folder, removed from it or changed, since its times were written before.
    bool names_changed(const record_change& folder) const;

    // Where it was set back, by the transaction that shows it.
    std::span<const clock_change> set_back() const { return m_changes_by_transaction; }

private:
    // The clock at an LSN.
    struct moment {
        std::uint64_t lsn = 0;
        std::uint64_t ticks = 0;
        std::uint32_t transaction = 0;
        event_clock clock = event_clock::not_before;
    };
    // A transaction adds a name to a folder or takes one from it; a rename counts for the file, too.
    struct name_change {
        std::uint64_t number = 0;  // of the file record of the folder, or of the renamed file
        std::uint64_t lsn = 0;
        std::uint32_t transaction = 0;
        bool of_folder = true;
    };

    // An index entry that came or went.
    struct index_change {
        inode_ref file;
        std::uint64_t lsn = 0;
        file_name_view name;
        bool added = false;
    };

    // A change of a file record, by its first log record.
    struct listed_change {
        std::uint64_t number = 0;  // of the file record
        std::uint64_t lsn = 0;
        const record_change* change = nullptr;

        auto place() const { return std::pair(number, lsn); }
    };

    void list_changes();
    void add(const transaction_facts& transaction);
    void add_names(std::uint32_t transaction);
    void seal();
    void follow(const name_change& change, std::uint64_t next_lsn);
    const record_change* next_write(const name_change& change) const;
    bool has_gap(std::uint64_t from, std::uint64_t to) const;
    void keep_agreeing();
    void keep_agreeing(std::size_t begin, std::size_t end, std::vector<moment>& kept);
    bool fits(std::uint64_t ticks, std::uint64_t lsn) const;
    std::uint64_t lower(std::uint64_t lsn) const;
    std::uint64_t upper(std::uint64_t lsn) const;
    std::uint64_t lsn_of(std::uint32_t position) const { return m_log.entries[position].this_lsn(); }

    const log_store& m_log;
    const file_history& m_history;
    // Of the history: those of one file record together, by LSN.
    std::vector<listed_change> m_changes;
    std::vector<listed_change> m_writes;  // of these those that set the time of modification, or are birth or end
    std::vector<index_change> m_entries;  // of one transaction, by file and name
    std::vector<name_change> m_names;
    std::vector<lsn_gap> m_gaps;
    std::vector<moment> m_stated;         // by LSN: what the system states
    std::vector<moment> m_found;          // likewise: what follows from writes that came later
    std::vector<moment> m_moments;        // both
    std::vector<moment> m_own;            // by transaction: its best time
    std::vector<std::uint64_t> m_limits;  // by transaction: it was not after this; 0: not known
    const std::vector<clock_change> m_changes_by_lsn;
    std::vector<clock_change> m_changes_by_transaction;
};

}  // namespace kest
