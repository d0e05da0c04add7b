#include "events/event_times.h"

#include <algorithm>

#include "format/time.h"

namespace kest {

namespace {

constexpr std::size_t mft_changed = 2;  // among the four times

void raise(std::uint64_t& latest, std::uint64_t ticks) {
    // A time that no calendar has is damage, and would hide all others.
    if (ticks > latest && cv::has_calendar_form(ticks)) latest = ticks;
}

void raise_by_name(std::uint64_t& latest, const std::optional<file_name_view>& name) {
    if (name) raise(latest, name->get(file_name_layout::mft_changed));
}

}  // namespace

void proved_times::add(const log_fact& fact) {
    if (fact.is_journal_record()) return raise(journal, fact.usn().get(&usn_layout::time));
    raise_by_name(carried, fact.name());
}

void proved_times::add(const file_history& history, const record_change& change) {
    for (const attribute_change& attribute : history.attributes_of(change)) {
        if (attribute.type != attribute_type::file_name) continue;
        raise_by_name(carried, attribute.before.file_name());
        raise_by_name(carried, attribute.after.file_name());
    }
    const standard_change* const standard = history.standard_of(change);
    if (standard == nullptr) return;
    const auto before = standard->before.times[mft_changed].whole();
    const auto after = standard->after.times[mft_changed].whole();
    const bool known_before = before && cv::has_calendar_form(*before);
    if (standard->before.times[mft_changed] != standard->after.times[mft_changed]) raise(carried, before.value_or(0));
    if (!after || change.after.in_use == false) return;
    const bool raised = before && (known_before ? *before : 0) < *after;
    if (!change.is_birth() && !raised) return;
    raise(record, *after);
    raise(carried, *after);
}

void set_time(event_header& shown, const proved_times& file, const proved_times& transaction, std::uint64_t bound) {
    if (transaction.journal != 0) {
        shown.time = file.journal != 0 ? file.journal : transaction.journal;
        shown.clock = event_clock::journal;
    } else if (file.record != 0) {
        shown.time = file.record;
        shown.clock = event_clock::record;
    } else {
        shown.time = std::max(bound, transaction.carried);
        shown.clock = event_clock::not_before;
    }
}

}  // namespace kest
