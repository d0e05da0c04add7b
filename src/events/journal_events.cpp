#include "events/journal_events.h"

#include <algorithm>
#include <utility>

#include "events/system_files.h"
#include "format/time.h"

namespace kest {

namespace {

constexpr std::uint32_t rename_reasons = usn_reasons::old_name | usn_reasons::new_name;

// Reasons that have an event of their own.
struct reason_event {
    std::uint32_t reason;
    event_kind kind;
};
constexpr reason_event reason_events[] = {
    {usn_reasons::created, event_kind::created},
    {usn_reasons::deleted, event_kind::deleted},
};

event_kind kind_of(std::uint32_t reason) {
    const auto* const found = std::ranges::find(reason_events, reason, &reason_event::reason);
    return found != std::end(reason_events) ? found->kind : event_kind::reason_given;
}

std::uint64_t time_of(const journal_record& record) {
    const std::uint64_t time = record.usn.get(&usn_layout::time);
    return cv::has_calendar_form(time) ? time : 0;
}

}  // namespace

journal_outline outline_journal(const uni::byte_source& file, logged_records& logged) {
    journal_outline outline;
    open_files files;
    journal_cursor cursor(file, journal_resync::at_records);
    while (const journal_record* const record = cursor.next()) {
        const bool in_log = logged.has(*record);
        const record_news news = files.take(*record, in_log);
        if (in_log) logged.note(*record, news.known);
        if (news.left_alone) outline.lone_names.push_back(*news.left_alone);
        outline.folders.learn(*record);
    }
    std::ranges::copy(files.waiting(), std::back_inserter(outline.lone_names));
    std::ranges::sort(outline.lone_names);
    outline.folders.seal();
    outline.reading = cursor.reading();
    return outline;
}

journal_events::journal_events(const uni::byte_source& file, const journal_outline& outline,
                               const logged_records& logged, name_history& names, folder_paths& paths,
                               std::function<void(const event&)> listener)
    : m_outline(outline),
      m_logged(logged),
      m_names(names),
      m_paths(paths),
      m_listener(std::move(listener)),
      m_cursor(file, journal_resync::at_records),
      m_next(m_cursor.next()) {}

void journal_events::tell_before(std::uint64_t place, std::uint64_t lsn) {
    while (m_next != nullptr && m_next->place < place)
        tell_next(lsn);
}

void journal_events::tell_earlier(std::uint64_t time, std::uint64_t place, std::uint64_t lsn) {
    while (m_next != nullptr && m_next->place < place && next_time() < time)
        tell_next(lsn);
}

// A record without a time is as late as those ahead of it.
std::uint64_t journal_events::next_time() const {
    const std::uint64_t time = time_of(*m_next);
    return time != 0 ? time : m_time;
}

void journal_events::tell_next(std::uint64_t lsn) {
    const journal_record& record = *m_next;
    const bool in_log = m_logged.has(record);
    const record_news news = m_files.take(record, in_log);
    m_time = std::max(m_time, time_of(record));
    if (!in_log && (news.reasons != 0 || news.of)) tell_news(record, news, lsn);
    m_next = m_cursor.next();
}

void journal_events::tell_news(const journal_record& record, const record_news& news, std::uint64_t lsn) {
    const bool waits = news.waits && !is_lone(record.place);
    const std::uint32_t alone = news.reasons & ~(news.of ? rename_reasons : waits ? usn_reasons::old_name : 0);
    if ((alone == 0 && !news.of) || is_system_file(record.usn.file().number())) return;
    locate(record, lsn);
    if (news.of) tell_rename(record, *news.of, lsn);
    if (m_told.of_system) return;
    for (const flag_word& row : reason_words()) {
        if ((alone & row.bits) != 0) tell_reason(record, row.bits, news.known);
    }
}

// What all events of the record have in common.
void journal_events::locate(const journal_record& record, std::uint64_t lsn) {
    m_told.file = record.usn.file();
    m_told.parent = record.usn.parent();
    m_told.is_folder = record.has_name() ? std::optional(record.is_directory()) : std::nullopt;
    m_told.source = event_source::journal;
    m_told.file_offset = record.place;
    m_told.reasons = record.usn.get(&usn_layout::reason);
    const std::uint64_t time = time_of(record);
    m_told.time = time != 0 ? time : m_time;
    m_told.clock = time != 0 ? event_clock::journal : event_clock::after;
    if (m_told.file.number() == root_number) {
        set_path(m_told.path, m_told.name_hex, root_path, {});
        m_told.known = known_by::journal;
        m_told.of_system = false;
        return;
    }
    const folder_path& folder = m_paths.in_journal(m_told.parent, record.place, lsn);
    m_told.known = std::max(known_by::journal, folder.known);
    m_told.of_system = folder.of_system;
    if (record.has_name()) {
        set_path(m_told.path, m_told.name_hex, folder.text, {.units = record.usn.name()});
    } else if (const auto name = m_names.name_in_journal(m_told.file, record.place, lsn)) {
        set_path(m_told.path, m_told.name_hex, folder.text, *name);
        m_told.known = std::max(m_told.known, name->known);
    } else {
        set_path(m_told.path, m_told.name_hex, unknown_path, {});
        m_told.known = known_by::part;
    }
}

void journal_events::tell_rename(const journal_record& record, const former_name& old, std::uint64_t lsn) {
    const auto units = uni::byte_view{std::span<const std::uint8_t>(old.units)};
    const folder_path& folder = m_paths.in_journal(old.parent, old.place, lsn);
    event told = m_told;
    told.before = told.after = {};
    set_path(told.old_path, told.old_name_hex, folder.text, {.units = units});
    told.known = std::max(told.known, folder.known);
    told.before.name = units;
    told.after.name = record.usn.name();
    told.kind = old.parent == told.parent ? event_kind::renamed : event_kind::moved;
    if (told.kind == event_kind::moved) {
        told.before.parent = old.parent;
        told.after.parent = told.parent;
    }
    told.of_system = told.of_system && folder.of_system;
    if (!told.of_system) m_listener(told);
}

void journal_events::tell_reason(const journal_record& record, std::uint32_t reason, std::uint32_t known) {
    m_told.kind = kind_of(reason);
    m_told.said_reason = reason;
    m_told.before = m_told.after = {};
    if (m_told.kind == event_kind::created) m_told.after.is_directory = record.is_directory();
    if (m_told.kind == event_kind::reason_given) {
        m_told.before.reasons = known;
        m_told.after.reasons = m_told.reasons;
    }
    m_listener(m_told);
}

bool journal_events::is_lone(std::uint64_t place) {
    const std::vector<std::uint64_t>& lone = m_outline.lone_names;
    while (m_lone < lone.size() && lone[m_lone] < place)
        ++m_lone;
    return m_lone < lone.size() && lone[m_lone] == place;
}

}  // namespace kest
