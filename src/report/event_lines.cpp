#include "report/event_lines.h"

#include "journal/usn_record.h"
#include "report/event_words.h"

namespace kest {

template <class appender>
void event_lines::write_built(std::string_view key, appender&& append) {
    m_text.clear();
    append(m_text);
    m_line.text_if_any(key, m_text);
}

void event_lines::tell(const event& told) {
    m_line.begin_line();
    m_line.time("time", told.time);
    m_line.text("clock", clock_word(told));
    m_line.text("source", source_word(told));
    write_built("event", [&told](std::string& out) { append_event_word(out, told); });
    m_line.text_if_any("path", told.path);
    m_line.text_if_any("name_hex", told.name_hex);
    m_line.text_if_any("old_path", told.old_path);
    m_line.text_if_any("old_name_hex", told.old_name_hex);
    m_line.text("known", known_word(told));
    m_line.number("inode", told.file.number());
    m_line.number_if_any("seq", told.file.sequence());
    m_line.number_if_any("parent", told.parent.number());
    m_line.number_if_any("parent_seq", told.parent.sequence());
    const bool in_log = told.source != event_source::journal;
    if (in_log) m_line.number("lsn", told.lsn);
    m_line.number("offset", told.file_offset);
    write_built("state", [&told](std::string& out) { append_state(out, told); });
    write_built("reason", [&told](std::string& out) { append_reason_text(out, told.reasons, false); });
    m_line.text("log", in_log ? m_log_path : m_journal_path);
    m_details.clear(true);
    write_event_details(m_details, told, m_options);
    m_line.object("details", m_details.members(m_room));
    write_for_timelines(told);
    m_line.end_line();
}

// An event without a time of its own has no place on a timeline.
void event_lines::write_for_timelines(const event& told) {
    if (told.clock != event_clock::after && cv::has_calendar_form(told.time)) {
        m_text.assign(1, '"');
        cv::append_internet_time(m_text, told.time, digits_to_be_found, "+00:00");
        m_text += '"';
        m_line.value("datetime", m_text);
        constexpr std::uint64_t ticks_per_microsecond = 10;
        m_line.number("timestamp", (told.time - cv::unix_epoch_ticks) / ticks_per_microsecond);
    }
    m_line.text("timestamp_desc", clock_description(told));
    write_built("message", [&told](std::string& out) { append_sentence(out, told); });
}

}  // namespace kest
