#include "events/own_times.h"

#include <algorithm>

#include "format/time.h"
#include "journal/usn_record.h"
#include "mft/record_view.h"

namespace kest {

namespace {

// What a fact tells of the time; 0 for nothing. A time that no calendar has is damage, and would hide all others.
struct fact_times {
    std::uint64_t journal = 0;
    std::uint64_t record = 0;
    std::uint64_t carried = 0;
};

std::uint64_t plausible(std::uint64_t ticks) {
    return cv::has_calendar_form(ticks) ? ticks : 0;
}

std::uint64_t name_time(const file_name_view& name) {
    return plausible(name.get(file_name_layout::mft_changed));
}

fact_times image_times(const told_fact& fact) {
    using namespace standard_information_layout;
    const file_record_view record(fact.data);
    if (!record.in_use()) return {};
    const std::uint64_t time = plausible(record.standard_information().get(mft_changed));
    return {.record = fact.is_birth() ? time : 0, .carried = time};
}

fact_times written_times(const log_store& log, const told_fact& fact) {
    using namespace standard_information_layout;
    if (fact.place > mft_changed.offset) return {};
    const std::uint32_t begin = mft_changed.offset - fact.place;
    const uni::byte_view undo = exact_undo(log.entries[fact.entry]);
    if (!undo.has(begin, sizeof(std::uint64_t)) || !fact.data.has(begin, sizeof(std::uint64_t))) return {};
    const std::uint64_t before = plausible(undo.u64(begin));
    const std::uint64_t after = plausible(fact.data.u64(begin));
    return {.record = after > before ? after : 0, .carried = std::max(before, after > before ? after : 0)};
}

fact_times times_of(const log_store& log, const told_fact& fact) {
    switch (fact.kind) {
        case fact_kind::journal_record:
            return {.journal = plausible(read_usn_record(fact.data)->get(&usn_layout::time))};
        case fact_kind::entry_added:
        case fact_kind::entry_removed:
            return {.carried = name_time(*file_name_view::read(fact.data))};
        case fact_kind::attribute_added:
        case fact_kind::attribute_removed: {
            const auto attribute = attribute_view::read(fact.data);
            if (attribute->type() != attribute_type::file_name) return {};
            const auto name = file_name_view::read(attribute->value());
            return {.carried = name ? name_time(*name) : 0};
        }
        case fact_kind::image:
        case fact_kind::image_before:
            return image_times(fact);
        case fact_kind::standard_written:
            return written_times(log, fact);
        default:
            return {};
    }
}

}  // namespace

own_times::own_times(const log_store& log, std::span<const told_fact> facts) : m_log(log) {
    for (const told_fact& fact : facts) {
        const fact_times times = times_of(log, fact);
        m_journal = std::max(m_journal, times.journal);
        m_record = std::max(m_record, times.record);
        m_carried = std::max(m_carried, times.carried);
    }
}

event_time own_times::of_file(std::span<const told_fact* const> facts, std::uint64_t bound) const {
    std::uint64_t journal = 0;
    std::uint64_t record = 0;
    for (const told_fact* const fact : facts) {
        const fact_times times = times_of(m_log, *fact);
        journal = std::max(journal, times.journal);
        record = std::max(record, times.record);
    }
    if (journal != 0 || m_journal != 0) return {journal != 0 ? journal : m_journal, event_clock::journal};
    if (record != 0) return {record, event_clock::record};
    return {std::max(bound, m_carried), event_clock::after};
}

}  // namespace kest
