#include "events/journal_events.h"

#include <algorithm>

#include "events/log_clock.h"

namespace kest {

namespace {

using namespace usn_reasons;

// The other reasons have their own words.
event_kind kind_of(std::uint32_t reason) {
    return reason == created ? event_kind::created : reason == deleted ? event_kind::deleted : event_kind::reason_given;
}

std::uint64_t time_of(const journal_record& record) {
    return calendar_time(record.usn);
}

}  // namespace

journal_events::journal_events(const uni::byte_source& file, const journal_outline& outline, const log_facts& facts,
                               const file_names& names, folder_paths& paths,
                               const std::function<void(const event&)>& listener)
    : m_outline(outline),
      m_facts(facts),
      m_names(names),
      m_paths(paths),
      m_listener(listener),
      m_cursor(file, journal_resync::at_records),
      m_next(m_cursor.next()) {}

void journal_events::report_until(std::uint64_t offset, std::uint64_t lsn, std::uint64_t time) {
    while (m_next != nullptr && m_next->place < offset && (time == no_limit || next_time() < time))
        report_next(lsn);
}

// A record without a time is as late as the one before it.
std::uint64_t journal_events::next_time() const {
    const std::uint64_t time = time_of(*m_next);
    return time != 0 ? time : m_time;
}

void journal_events::report_next(std::uint64_t lsn) {
    const journal_record& record = *m_next;
    const bool in_log = m_facts.holds(record);
    const reason_delta delta = m_files.take(record, in_log);
    follow_clock(record, in_log);
    if (!in_log && (delta.added != 0 || delta.renamed_from)) report(record, delta, lsn);
    m_next = m_cursor.next();
}

// That the clock was set back; what the log has of both records it reports itself.
void journal_events::follow_clock(const journal_record& record, bool in_log) {
    const std::uint64_t time = time_of(record);
    if (time == 0) return;
    if (is_set_back(m_time, time) && !(in_log && m_time_in_log)) {
        event change;
        change.time = time;
        change.clock = event_clock::journal;
        change.source = event_source::journal;
        change.kind = event_kind::clock_set_back;
        change.known = name_source::journal;
        change.file_offset = record.place;
        change.before.clock = m_time;
        change.after.clock = time;
        m_listener(change);
    }
    m_time = time;
    m_time_in_log = in_log;
}

void journal_events::report(const journal_record& record, const reason_delta& delta, std::uint64_t lsn) {
    const bool paired = delta.waits && is_paired(record.place);
    const std::uint32_t others = delta.added & ~(delta.renamed_from ? old_name | new_name : paired ? old_name : 0);
    if ((others == 0 && !delta.renamed_from) || is_system_file(record.usn.file().number())) return;
    locate(record, {lsn, record.place});
    if (delta.renamed_from) report_rename(record, *delta.renamed_from, lsn);
    if (m_event.of_system) return;
    for (const flag_word& row : reason_words()) {
        if ((others & row.bits) != 0) report_reason(record, row.bits, delta.known);
    }
}

// What all events of the record have in common.
void journal_events::locate(const journal_record& record, const moment& when) {
    m_event.file = record.usn.file();
    m_event.parent = record.usn.parent();
    m_event.is_folder = record.has_name() ? std::optional(record.is_directory()) : std::nullopt;
    m_event.source = event_source::journal;
    m_event.file_offset = record.place;
    m_event.reasons = record.usn.get(&usn_layout::reason);
    const std::uint64_t time = time_of(record);
    m_event.time = time != 0 ? time : m_time;
    m_event.clock = time != 0 ? event_clock::journal : event_clock::not_before;
    m_event.known = name_source::journal;
    m_event.of_system = false;
    if (m_event.file.number() == root_number) return set_path(m_event.path, m_event.name_hex, root_path, {});
    const folder_path& folder = m_paths.at(m_event.parent, when);
    m_event.known = std::max(m_event.known, folder.source);
    m_event.of_system = folder.of_system;
    if (record.has_name()) {
        set_path(m_event.path, m_event.name_hex, folder.text, {.units = record.usn.name()});
    } else if (const auto name = m_names.name_at(m_event.file, when)) {
        set_path(m_event.path, m_event.name_hex, folder.text, *name);
        m_event.known = std::max(m_event.known, name->source);
    } else {
        set_path(m_event.path, m_event.name_hex, unknown_path, {});
        m_event.known = name_source::part;
    }
}

void journal_events::report_rename(const journal_record& record, const former_name& old, std::uint64_t lsn) {
    const auto units = uni::byte_view{std::span<const std::uint8_t>(old.units)};
    const folder_path& folder = m_paths.at(old.parent, {lsn, old.offset});
    event renamed = m_event;
    renamed.before = renamed.after = {};
    set_path(renamed.old_path, renamed.old_name_hex, folder.text, {.units = units});
    renamed.known = std::max(renamed.known, folder.source);
    renamed.before.name = units;
    renamed.after.name = record.usn.name();
    renamed.kind = old.parent == renamed.parent ? event_kind::renamed : event_kind::moved;
    if (renamed.kind == event_kind::moved) {
        renamed.before.parent = old.parent;
        renamed.after.parent = renamed.parent;
    }
    renamed.of_system = renamed.of_system && folder.of_system;
    if (!renamed.of_system) m_listener(renamed);
}

void journal_events::report_reason(const journal_record& record, std::uint32_t reason, std::uint32_t known) {
    m_event.kind = kind_of(reason);
    m_event.given_reason = reason;
    m_event.before = m_event.after = {};
    if (m_event.kind == event_kind::created) m_event.after.is_directory = record.is_directory();
    if (m_event.kind == event_kind::reason_given) {
        m_event.before.reasons = known;
        m_event.after.reasons = m_event.reasons;
    }
    m_listener(m_event);
}

bool journal_events::is_paired(std::uint64_t offset) {
    const std::vector<std::uint64_t>& paired = m_outline.paired_names;
    while (m_paired < paired.size() && paired[m_paired] < offset)
        ++m_paired;
    return m_paired < paired.size() && paired[m_paired] == offset;
}

}  // namespace kest
