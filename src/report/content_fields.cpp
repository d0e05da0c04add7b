#include "report/content_fields.h"

#include "format/number.h"

namespace kest {

namespace {

using enum field_kind;

bool is_before(const event& shown) {
    return !shown.before.value.empty();
}

std::string_view side_word(const event& shown) {
    return is_before(shown) ? "before" : "after";
}

using sink = field_sink;
using line = event_line;

// What a piece of content has and an event has not.
constexpr field<line> own_fields[] = {
    {{"content", 40, words},
     [](sink& out, const line& of) {
         out.begin_text() += content_name(of.shown);
         out.end_text();
     }},
    {{"side", 6, words}, [](sink& out, const line& of) { out.text(side_word(of.shown)); }},
    {{"stream", 6, number}, [](sink& out, const line& of) { out.number(of.shown.stream); }},
    {{"size", 12, number},
     [](sink& out, const line& of) {
         out.number((is_before(of.shown) ? of.shown.before : of.shown.after).value.size());
     }},
};

constexpr std::string_view names[] = {"time",   "not_after", "clock",     "content",       "side",  "state",
                                      "path",   "name_hex",  "type",      "known",         "inode", "seq",
                                      "stream", "size",      "lsn",       "offset",        "cut",   "volume",
                                      "file",   "datetime",  "timestamp", "timestamp_desc"};

}  // namespace

std::span<const field<event_line>> content_fields() {
    static const std::vector<field<line>> fields = choose_event_fields(names, own_fields);
    return fields;
}

std::vector<field_title> titles_of_contents() {
    return titles_of(content_fields());
}

std::string words_on_contents(const logfile_options& options) {
    const bool one_log = options.report != report_kind::contents || !(options.lists_logs() || options.lists_sets());
    return one_log ? "" : "-content is for one log only\n";
}

std::string content_name(const event& shown) {
    std::string name;
    for (const std::uint64_t number :
         {shown.file.number(), std::uint64_t{shown.file.sequence()}, std::uint64_t{shown.stream}, shown.lsn}) {
        append_decimal(name, number);
        name += '-';
    }
    name += side_word(shown);
    if (shown.copy != 0) append_decimal(name += '-', shown.copy + std::uint64_t{1});
    return name;
}

}  // namespace kest
