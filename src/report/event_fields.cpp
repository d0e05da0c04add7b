#include "report/event_fields.h"

#include <algorithm>

#include "format/json.h"
#include "format/safe_text.h"
#include "format/time.h"
#include "journal/usn_record.h"
#include "portable/file.h"
#include "report/event_words.h"

namespace kest {

namespace {

using enum field_kind;

bool is_in_log(const event& shown) {
    return shown.source != event_source::journal;
}

void write_if_known(field_sink& out, std::uint64_t value) {
    if (value != 0) out.number(value);
}

template <class appender>
void write_built(field_sink& out, appender&& append) {
    append(out.begin_text());
    out.end_text();
}

// An event without a time of its own stands on a timeline at its earliest.
bool has_instant(const event& shown) {
    return cv::has_calendar_form(shown.time);
}

void write_datetime(field_sink& out, const event& shown) {
    if (!has_instant(shown)) return;
    write_built(
        out, [&shown](std::string& text) { cv::append_internet_time(text, shown.time, digits_to_be_found, "+00:00"); });
}

void write_timestamp(field_sink& out, const event& shown) {
    constexpr std::uint64_t ticks_per_microsecond = 10;
    if (has_instant(shown)) out.decimal((shown.time - cv::unix_epoch_ticks) / ticks_per_microsecond);
}

using sink = field_sink;
using line = event_line;

constexpr field<line> fields[] = {
    {{"time", 30, moment}, [](sink& out, const line& of) { out.time(of.shown.time); }},
    {{"not_after", 30, moment},
     [](sink& out, const line& of) {
         if (of.shown.not_after != 0) out.latest_time(of.shown.not_after);
     }},
    {{"clock", 10, words}, [](sink& out, const line& of) { out.text(clock_word(of.shown)); }},
    {{"event", 24, words},
     [](sink& out, const line& of) {
         write_built(out, [&of](std::string& text) { append_event_word(text, of.shown); });
     }},
    {{"state", 7, words}, [](sink& out, const line& of) { out.text(state_word(of.shown)); }},
    {{"path", 40, any_text}, [](sink& out, const line& of) { out.text(of.shown.path); }},
    {{"name_hex", 25, words, field_presence::objects}, [](sink& out, const line& of) { out.text(of.shown.name_hex); }},
    {{"old_path", 25, any_text}, [](sink& out, const line& of) { out.text(of.shown.old_path); }},
    {{"old_name_hex", 25, words, field_presence::objects},
     [](sink& out, const line& of) { out.text(of.shown.old_name_hex); }},
    {{"type", 7, words}, [](sink& out, const line& of) { out.text(type_word(of.shown)); }},
    {{"known", 8, words}, [](sink& out, const line& of) { out.text(known_word(of.shown)); }},
    {{"source", 8, words}, [](sink& out, const line& of) { out.text(source_word(of.shown)); }},
    {{"inode", 12, number},
     [](sink& out, const line& of) {
         if (!is_of_volume(of.shown)) out.number(of.shown.file.number());
     }},
    {{"seq", 12, number}, [](sink& out, const line& of) { write_if_known(out, of.shown.file.sequence()); }},
    {{"parent", 12, number}, [](sink& out, const line& of) { write_if_known(out, of.shown.parent.number()); }},
    {{"parent_seq", 13, number}, [](sink& out, const line& of) { write_if_known(out, of.shown.parent.sequence()); }},
    {{"lsn", 12, number},
     [](sink& out, const line& of) {
         if (is_in_log(of.shown)) out.wide_number(of.shown.lsn);
     }},
    {{"offset", 12, number}, [](sink& out, const line& of) { out.wide_number(of.shown.file_offset); }},
    {{"cut", 4, truth},
     [](sink& out, const line& of) {
         if (is_in_log(of.shown)) out.truth(of.shown.cut);
     }},
    {{"reason", 31, words},
     [](sink& out, const line& of) {
         write_built(out, [&of](std::string& text) { append_reason_text(text, of.shown.reasons, false); });
     }},
    {{"volume", 25, any_text}, [](sink& out, const line& of) { out.text(of.volume); }},
    {{"file", 25, any_text}, [](sink& out, const line& of) { out.text(is_in_log(of.shown) ? of.log : of.journal); }},
    {{"details", 12, object}, [](sink& out, const line& of) { out.details(of.details); }},
    {{"datetime", 32, words, field_presence::servers},
     [](sink& out, const line& of) { write_datetime(out, of.shown); }},
    {{"timestamp", 16, number, field_presence::servers},
     [](sink& out, const line& of) { write_timestamp(out, of.shown); }},
    {{"timestamp_desc", 50, words, field_presence::objects},
     [](sink& out, const line& of) { out.text(clock_description(of.shown)); }},
    {{"message", 40, any_text, field_presence::servers},
     [](sink& out, const line& of) {
         write_built(out, [&of](std::string& text) { append_sentence(text, of.shown); });
     }},
};

}  // namespace

std::span<const field<event_line>> event_fields() {
    return fields;
}

std::vector<field<event_line>> choose_event_fields(std::span<const std::string_view> names,
                                                   std::span<const field<event_line>> own) {
    std::vector<field<line>> chosen;
    for (const std::string_view name : names) {
        const auto has_name = [name](const field<line>& row) { return row.title.name == name; };
        const auto found = std::ranges::find_if(own, has_name);
        chosen.push_back(found != own.end() ? *found : *std::ranges::find_if(fields, has_name));
    }
    return chosen;
}

std::vector<field_title> titles_of_events() {
    return titles_of(event_fields());
}

event_lines::event_lines(const logfile_options& options, std::string_view log_path,
                         const field_list<event_line>& chosen, details_notation notation, field_sink& out)
    : m_out(out),
      m_fields(chosen),
      m_of_several(options.lists_sets() || options.lists_logs()),
      m_details(make_details(notation, options, true)) {
    append_safe_text(m_log, log_path);
    append_safe_text(m_journal, options.journal.path);
    append_safe_text(m_volume, volume_of(options, log_path));
}

void event_lines::write(const event& shown) {
    m_details->clear();
    write_event_details(*m_details, shown);
    write_line(m_out, m_fields, {shown, m_log, m_journal, m_volume, m_details->text(), m_of_several});
}

}  // namespace kest
