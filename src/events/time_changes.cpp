#include "events/time_changes.h"

namespace kest {

namespace {

enum : std::size_t { created, modified, mft_changed, accessed };

// One of the times, by the bytes that are known before and after.
class compared_time {
public:
    compared_time(const standard_change& change, std::size_t which)
        : m_before(change.before.times[which].value() & change.after.times[which].known()),
          m_after(change.after.times[which].value() & change.before.times[which].known()),
          m_time(change.after.times[which].whole()) {}

    bool changed() const { return m_before != m_after; }
    bool raised() const { return m_after > m_before; }
    bool lowered() const { return m_after < m_before; }
    // After the change; 0: not known.
    std::uint64_t ticks() const { return m_time.value_or(0); }

private:
    std::uint64_t m_before;
    std::uint64_t m_after;
    std::optional<std::uint64_t> m_time;
};

// A time that the system would not have set.
bool is_set(const compared_time& time, const time_circumstances& known) {
    if (time.lowered()) return !known.clock.was_set_back_to(time.ticks(), known.lsn);
    return time.raised() && !known.clock.has_passed(time.ticks(), known.lsn);
}

bool is_set_by_program(const standard_change& change, const time_circumstances& known) {
    if (changes_creation_time(change) && !known.tunneled) return true;
    for (const std::size_t which : {modified, mft_changed, accessed}) {
        if (is_set({change, which}, known)) return true;
    }
    const compared_time modification(change, modified);
    const auto changed = change.after.times[mft_changed].whole();
    return modification.raised() && changed && modification.ticks() > *changed;
}

}  // namespace

bool changes_creation_time(const standard_change& change) {
    return compared_time(change, created).changed();
}

std::uint64_t new_change_time(const standard_change& change) {
    const compared_time time(change, mft_changed);
    return time.raised() ? time.ticks() : 0;
}

time_change judge_times(const standard_change& change, const time_circumstances& known) {
    if (is_set_by_program(change, known)) {
        return {known.copying ? event_kind::times_copied : event_kind::times_set, new_change_time(change)};
    }
    const compared_time modification(change, modified);
    if (modification.changed()) {
        if (known.names_changed) return {};
        return {event_kind::written, modification.ticks()};
    }
    const compared_time record(change, mft_changed);
    const bool explained = record.changed() && record.ticks() == known.last_event;
    if (record.changed() && !explained) return {event_kind::metadata_changed, record.ticks()};
    const compared_time access(change, accessed);
    if (access.changed() && !(explained && access.ticks() == known.last_event)) {
        return {event_kind::read, access.ticks()};
    }
    return {};
}

}  // namespace kest
