#include "operations/stated_times.h"

#include <algorithm>
#include <tuple>

#include "journal/usn_record.h"
#include "logfile/operation.h"
#include "mft/record_view.h"
#include "operations/record_fact.h"

namespace kest {

namespace {

// A file record in use as it is put into the MFT. The system sets its last three times to now; that of creation may be
// another file's, of the same name. 0: it does not look so.
std::uint64_t time_of_image(uni::byte_view bytes) {
    using namespace standard_information_layout;
    const file_record_view record(bytes);
    if (!record.in_use() || record.base() != inode_ref{}) return 0;
    const uni::byte_view standard = record.standard_information();
    const std::uint64_t time = standard.get(mft_changed);
    const bool alike = standard.get(modified) == time && standard.get(accessed) == time;
    return alike && cv::has_calendar_form(time) ? time : 0;
}

class time_finder {
public:
    time_finder(const log_store& log, const transaction_states& states, const log_facts& facts,
                const mft_geometry& geometry)
        : m_log(log), m_states(states), m_facts(facts), m_geometry(geometry) {}

    std::vector<stated_time> find() {
        uni::try_reserve(m_times, m_facts.all().size());
        for (std::uint32_t number = 0; number < m_log.chain_heads.size(); ++number) {
            m_images.clear();
            m_taken.clear();
            m_named.clear();
            m_replaced.clear();
            for (const std::uint32_t position : m_log.records(m_log.chain_heads[number])) {
                if (!m_states.rolled_back[position]) read(number, position);
            }
            for (const log_fact& fact : m_facts.of_transaction(number).facts) {
                if (!fact.rolled_back) read(number, fact);
            }
            if (!m_images.empty()) add_images();
        }
        std::ranges::sort(m_times, {}, [](const stated_time& one) { return std::tuple(one.lsn, one.ticks); });
        return std::move(m_times);
    }

private:
    struct image {
        std::uint64_t number = 0;  // of the file record
        stated_time time;
    };

    void read(std::uint32_t transaction, std::uint32_t position) {
        const log_entry& entry = m_log.entries[position];
        if (entry.redo_op() != operation_code::initialize_file_record_segment &&
            entry.redo_op() != operation_code::noop) {
            return;
        }
        const record_fact fact = proved_fact(entry, m_geometry);
        if (fact.kind == fact_kind::image) {
            const std::uint64_t ticks = time_of_image(fact.data);
            if (ticks != 0) m_images.push_back({fact.file.number(), {entry.this_lsn(), ticks, transaction, position}});
        } else if (fact.kind == fact_kind::taken) {
            m_taken.push_back(fact.file.number());
        } else if (fact.kind == fact_kind::image_before) {
            m_replaced.push_back(fact.file.number());
        }
    }

    void read(std::uint32_t transaction, const log_fact& fact) {
        if (fact.kind == fact_kind::entry_added) m_named.push_back(fact.file.number());
        if (!fact.is_journal_record()) return;
        const std::uint64_t ticks = calendar_time(fact.usn());
        if (ticks == 0) return;
        m_times.push_back({m_log.entries[fact.position].this_lsn(), ticks, transaction, fact.position, true});
    }

    // A record that is put to use was free before, or gets a name and has no bytes of before; any other is one that is
    // written again.
    void add_images() {
        for (auto* const list : {&m_taken, &m_named, &m_replaced})
            std::ranges::sort(*list);
        for (const image& one : m_images) {
            const auto holds = [&one](const auto& list) { return std::ranges::binary_search(list, one.number); };
            if (holds(m_taken) || (holds(m_named) && !holds(m_replaced))) m_times.push_back(one.time);
        }
    }

    const log_store& m_log;
    const transaction_states& m_states;
    const log_facts& m_facts;
    const mft_geometry m_geometry;
    std::vector<stated_time> m_times;
    // Of the transaction at hand.
    std::vector<image> m_images;
    std::vector<std::uint64_t> m_taken;  // numbers of file records
    std::vector<std::uint64_t> m_named;
    std::vector<std::uint64_t> m_replaced;
};

}  // namespace

std::vector<stated_time> find_stated_times(const log_store& log, const transaction_states& states,
                                           const log_facts& facts, const mft_geometry& geometry) {
    return time_finder(log, states, facts, geometry).find();
}

std::vector<clock_change> find_clock_changes(const std::vector<stated_time>& times) {
    std::vector<clock_change> changes;
    for (std::size_t at = 1; at < times.size(); ++at) {
        const stated_time& before = times[at - 1];
        if (is_set_back(before.ticks, times[at].ticks)) changes.push_back({before.lsn, before.ticks, times[at]});
    }
    return changes;
}

}  // namespace kest
