#include "report/timeline_fields.h"

#include <algorithm>

#include "format/number.h"
#include "format/sid.h"
#include "format/time.h"
#include "report/event_words.h"

namespace kest {

namespace {

using enum field_kind;

using sink = field_sink;
using line = event_line;

// The times of a file, by their places in `event_values::times`.
enum file_time : std::size_t { born, modified, changed, accessed };
using time_set = std::array<bool, event_values::time_count>;

// The time that the system gives to a file when such an event happens, whatever others it gives.
file_time time_of_kind(const event& shown) {
    constexpr std::uint32_t data_reasons = 0x77;  // data or a named stream: overwritten, appended to, truncated
    switch (shown.kind) {
        case event_kind::created:
            return born;
        case event_kind::written:
        case event_kind::resized:
            return modified;
        case event_kind::read:
            return accessed;
        case event_kind::reason_given:
            return (shown.given_reason & data_reasons) != 0 ? modified : changed;
        default:
            return changed;
    }
}

// Which times of the file are that of the event: those that its record states so, or else the one that goes with it.
time_set times_of(const event& shown) {
    time_set set{};
    for (std::size_t at = 0; at < set.size(); ++at)
        set[at] = shown.time != 0 && shown.after.times[at] == shown.time;
    if (shown.kind == event_kind::created || std::ranges::count(set, true) == 0) set[time_of_kind(shown)] = true;
    return set;
}

bool has_instant(const event& shown) {
    return cv::has_calendar_form(shown.time);
}

// Of an event without a time of its own.
void append_interval(std::string& out, const event& shown) {
    if (shown.clock != event_clock::not_before) return;
    out += has_instant(shown) ? "not before this" : "time not known";
    if (!cv::has_calendar_form(shown.not_after)) return;
    out += ", not after ";
    cv::append_internet_time(out, shown.not_after, 7);
}

void append_aside(std::string& out, const event& shown) {
    append_event_word(out, shown);
    if (shown.state != event_state::done) out.append(", ").append(state_word(shown));
    const std::size_t before = out.append(", ").size();
    append_interval(out, shown);
    if (out.size() == before) out.erase(before - 2);
}

bool is_hex_digit(char c) {
    return std::string_view("0123456789abcdefABCDEF").find(c) != std::string_view::npos;
}

// Readers take "%7C" for the character of that number, so a name in which such stands is written so, too.
void append_body_text(std::string& out, std::string_view text) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool reads_as_number =
            text[at] == '%' && at + 2 < text.size() && is_hex_digit(text[at + 1]) && is_hex_digit(text[at + 2]);
        if (text[at] == '|') {
            out += "%7C";
        } else if (reads_as_number) {
            out += "%25";
        } else {
            out += text[at];
        }
    }
}

void write_body_name(sink& out, const line& of) {
    std::string& text = out.begin_text();
    if (of.of_several) {
        append_body_text(text, of.volume);
        text += ": ";
    }
    if (!of.shown.old_path.empty()) {
        append_body_text(text, of.shown.old_path);
        text += " -> ";
    }
    append_body_text(text, of.shown.path);
    const bool has_path = !of.shown.path.empty() || !of.shown.old_path.empty();
    text += has_path ? " (" : "(";
    append_aside(text, of.shown);
    text += ')';
    out.end_text();
}

void write_mode(sink& out, const line& of) {
    const auto& is_folder = of.shown.is_folder;
    out.text(!is_folder ? "-/-" : *is_folder ? "d/d" : "r/r");
}

void write_size(sink& out, const line& of) {
    const event& shown = of.shown;
    out.decimal(shown.after.size ? *shown.after.size : shown.before.size.value_or(0));
}

template <file_time which>
void write_seconds(sink& out, const line& of) {
    const bool is_set = has_instant(of.shown) && times_of(of.shown)[which];
    out.decimal(is_set ? (of.shown.time - cv::unix_epoch_ticks) / cv::ticks_per_second : 0);
}

void write_zero(sink& out, const line&) {
    out.decimal(0);
}

void write_inode(sink& out, const line& of) {
    out.decimal(of.shown.file.number());
}

constexpr field<line> body[] = {
    {{"MD5", 1, number}, write_zero},
    {{"name", 40, any_text}, write_body_name},
    {{"inode", 12, number}, write_inode},
    {{"mode_as_string", 3, words}, write_mode},
    {{"UID", 1, number}, write_zero},
    {{"GID", 1, number}, write_zero},
    {{"size", 12, number}, write_size},
    {{"atime", 10, number}, write_seconds<accessed>},
    {{"mtime", 10, number}, write_seconds<modified>},
    {{"ctime", 10, number}, write_seconds<changed>},
    {{"crtime", 10, number}, write_seconds<born>},
};

template <bool clock>
void write_calendar(sink& out, const line& of) {
    static const cv::format_flags flags = cv::compile_format("mm/dd/yyyy", "hh:mm:ss", false);
    if (!has_instant(of.shown)) return out.text(clock ? "--:--:--" : "00/00/0000");
    std::string parts[2];
    cv::split_time_text(parts[0], parts[1], of.shown.time, flags);
    out.begin_text() = parts[clock ? 1 : 0];
    out.end_text();
}

void write_macb(sink& out, const line& of) {
    constexpr std::pair<char, file_time> letters[] = {{'M', modified}, {'A', accessed}, {'C', changed}, {'B', born}};
    const time_set set = times_of(of.shown);
    std::string& text = out.begin_text();
    for (const auto& [letter, which] : letters)
        text += set[which] ? letter : '.';
    out.end_text();
}

std::string_view origin_of(const event& shown) {
    constexpr std::string_view origins[] = {"NTFS log", "NTFS change journal", "NTFS log and change journal"};
    return origins[static_cast<std::size_t>(shown.source)];
}

void write_owner(sink& out, const line& of) {
    if (of.shown.after.owner.empty()) return out.text("-");
    append_sid(out.begin_text(), of.shown.after.owner);
    out.end_text();
}

void write_short(sink& out, const line& of) {
    std::string& text = out.begin_text();
    append_event_word(text, of.shown);
    text.append(1, ' ').append(std::string_view(of.shown.path).substr(of.shown.path.rfind('\\') + 1));
    out.end_text();
}

void write_sentence(sink& out, const line& of) {
    append_sentence(out.begin_text(), of.shown);
    out.end_text();
}

void write_interval(sink& out, const line& of) {
    if (of.shown.clock != event_clock::not_before) return out.text("-");
    append_interval(out.begin_text(), of.shown);
    out.end_text();
}

void write_extra(sink& out, const line& of) {
    std::string& text = out.begin_text();
    const auto add = [&text](std::string_view key, std::string_view value) {
        if (!value.empty()) text.append(text.empty() ? "" : "; ").append(key).append(": ").append(value);
    };
    std::string sequence, lsn;
    append_decimal(sequence, of.shown.file.sequence());
    if (of.shown.lsn != 0) append_decimal(lsn, of.shown.lsn);
    add("state", state_word(of.shown));
    add("known", known_word(of.shown));
    add("type", type_word(of.shown));
    add("sequence", sequence);
    add("lsn", lsn);
    add("volume", of.volume);
    add("details", of.details);
    out.end_text();
}

constexpr field<line> timeline[] = {
    {{"date", 10, words}, write_calendar<false>},
    {{"time", 8, words}, write_calendar<true>},
    {{"timezone", 3, words}, [](sink& out, const line&) { out.text("UTC"); }},
    {{"MACB", 4, words}, write_macb},
    {{"source", 4, words}, [](sink& out, const line&) { out.text("FILE"); }},
    {{"sourcetype", 27, words}, [](sink& out, const line& of) { out.text(origin_of(of.shown)); }},
    {{"type", 50, words}, [](sink& out, const line& of) { out.text(clock_description(of.shown)); }},
    {{"user", 12, words}, write_owner},
    {{"host", 1, words}, [](sink& out, const line&) { out.text("-"); }},
    {{"short", 40, any_text}, write_short},
    {{"desc", 40, any_text}, write_sentence},
    {{"version", 1, words}, [](sink& out, const line&) { out.text("2"); }},
    {{"filename", 40, any_text}, [](sink& out, const line& of) { out.text(of.shown.path); }},
    {{"inode", 12, number}, write_inode},
    {{"notes", 40, words}, write_interval},
    {{"format", 4, words}, [](sink& out, const line&) { out.text("kest"); }},
    {{"extra", 40, any_text}, write_extra},
};

}  // namespace

std::span<const field<event_line>> body_fields() {
    return body;
}

std::span<const field<event_line>> timeline_fields() {
    return timeline;
}

}  // namespace kest
