#include "report/row_fields.h"

#include <algorithm>

namespace kest {

namespace {

constexpr std::string_view path_title = "path";
constexpr std::string_view guessed_path_title = "path (*guess)";

// What a field holds: words and numbers of ours, or names and data out of the evidence.
constexpr bool words = true;
constexpr bool any_text = false;

void write_if_any(field_sink& out, std::optional<std::uint64_t> value) {
    if (value) out.number(*value);
}

using sink = field_sink;
using line = row_line;

constexpr field<line> fields[] = {
    {{"time", 30, words}, [](sink& out, const line& of) { out.time(of.time); }},
    {{"ref", 30, words}, [](sink& out, const line& of) { out.text(of.ref); }},
    {{"action", 31, words}, [](sink& out, const line& of) { out.text(of.action); }},
    {{"lsn", 12, words}, [](sink& out, const line& of) { out.wide_number(of.lsn); }},
    {{"level", 8, words}, [](sink& out, const line& of) { out.text(of.level); }},
    {{"op_pattern", 30, words}, [](sink& out, const line& of) { out.text(of.op_pattern); }},
    {{"op_name", 28, words}, [](sink& out, const line& of) { out.text(of.op_name); }},
    {{"lcn", 10, words}, [](sink& out, const line& of) { write_if_any(out, of.lcn); }},
    {{"inode", 12, words}, [](sink& out, const line& of) { write_if_any(out, of.inode); }},
    {{"seq", 12, words}, [](sink& out, const line& of) { write_if_any(out, of.seq); }},
    {{"parent", 12, words}, [](sink& out, const line& of) { write_if_any(out, of.parent); }},
    {{"parent_seq", 13, words}, [](sink& out, const line& of) { write_if_any(out, of.parent_seq); }},
    {{path_title, 25, any_text}, [](sink& out, const line& of) { out.path(of.path, of.guess); }},
    {{"guess", 7, words, field_presence::objects},
     [](sink& out, const line& of) {
         if (of.guess) out.truth(true);
     }},
    {{"log", 25, any_text, field_presence::objects}, [](sink& out, const line& of) { out.evidence(of.log); }},
    {{"details", 12, any_text}, [](sink& out, const line& of) { out.details(of.details); }},
    {{"undo", 12, any_text, field_presence::undo}, [](sink& out, const line& of) { out.details(of.undo); }},
};

}  // namespace

std::span<const field<row_line>> row_fields() {
    return fields;
}

std::vector<field_title> titles_of_rows() {
    return titles_of(row_fields());
}

bool shows_undo(const field_list<row_line>& chosen) {
    return std::ranges::any_of(chosen, [](const auto& row) { return row.title.presence == field_presence::undo; });
}

std::vector<field_title> marked_titles(std::vector<field_title> titles, bool guesses_allowed) {
    const auto path = std::ranges::find(titles, path_title, &field_title::name);
    if (guesses_allowed && path != titles.end()) path->name = guessed_path_title;
    return titles;
}

}  // namespace kest
