#include "events/own_times.h"

#include <algorithm>

#include "format/time.h"
#include "journal/usn_record.h"

namespace kest {

namespace {

// A time that no calendar has is damage, and would hide all others: 0, as for none.
std::uint64_t plausible(std::optional<std::uint64_t> ticks) {
    return ticks && cv::has_calendar_form(*ticks) ? *ticks : 0;
}

std::uint64_t journal_time(const event_fact& fact) {
    if (fact.kind != fact_kind::journal_record) return 0;
    return plausible(read_usn_record(fact.data)->get(&usn_layout::time));
}

std::uint64_t name_time(const std::optional<file_name_view>& name) {
    return name ? plausible(name->get(file_name_layout::mft_changed)) : 0;
}

constexpr std::size_t mft_changed = 2;  // among the four times

// The time that the record gets, if it is the system's.
std::uint64_t record_time(const file_history& history, const record_change& change) {
    const standard_change* const standard = history.standard_of(change);
    if (standard == nullptr || change.after.in_use == false) return 0;
    const auto was = standard->before.times[mft_changed].whole();
    const std::uint64_t is = plausible(standard->after.times[mft_changed].whole());
    return change.is_birth() || (was && plausible(was) < is) ? is : 0;
}

std::uint64_t carried_time(const file_history& history, const record_change& change) {
    std::uint64_t latest = record_time(history, change);
    const standard_change* const standard = history.standard_of(change);
    if (standard != nullptr && standard->before.times[mft_changed] != standard->after.times[mft_changed]) {
        latest = std::max(latest, plausible(standard->before.times[mft_changed].whole()));
    }
    for (const attribute_change& attribute : history.attributes_of(change)) {
        if (attribute.type != attribute_type::file_name) continue;
        latest = std::max({latest, name_time(attribute.before.file_name()), name_time(attribute.after.file_name())});
    }
    return latest;
}

}  // namespace

own_times::own_times(const file_history& history, const transaction_facts& transaction,
                     std::span<const record_change> changes)
    : m_history(history) {
    for (const event_fact& fact : transaction.facts) {
        m_journal = std::max(m_journal, journal_time(fact));
        if (fact.kind != fact_kind::journal_record) {
            m_carried = std::max(m_carried, name_time(file_name_view::read(fact.data)));
        }
    }
    for (const record_change& change : changes) {
        m_record = std::max(m_record, record_time(history, change));
        m_carried = std::max(m_carried, carried_time(history, change));
    }
}

event_time own_times::of_file(std::span<const event_fact* const> facts, std::span<const record_change* const> records,
                              std::uint64_t bound) const {
    std::uint64_t journal = 0;
    std::uint64_t record = 0;
    for (const event_fact* const fact : facts)
        journal = std::max(journal, journal_time(*fact));
    for (const record_change* const change : records)
        record = std::max(record, record_time(m_history, *change));
    if (journal != 0 || m_journal != 0) return {journal != 0 ? journal : m_journal, event_clock::journal};
    if (record != 0) return {record, event_clock::record};
    return {std::max(bound, m_carried), event_clock::after};
}

}  // namespace kest
