#include "report/extent_fields.h"

#include <algorithm>

#include "format/number.h"
#include "mft/record_layout.h"
#include "report/event_words.h"

namespace kest {

namespace {

using enum field_kind;

struct type_row {
    std::uint32_t type;
    std::string_view name;
};
constexpr type_row type_rows[] = {
    {0x20, "$ATTRIBUTE_LIST"}, {0x50, "$SECURITY_DESCRIPTOR"}, {0x80, "$DATA"}, {0xA0, "$INDEX_ALLOCATION"},
    {0xB0, "$BITMAP"},         {0xC0, "$REPARSE_POINT"},       {0xE0, "$EA"},   {0x100, "$LOGGED_UTILITY_STREAM"},
};

bool is_lost(const event& shown) {
    return !shown.before.place.runs.empty();
}

const data_place& place_of(const event_line& of) {
    return is_lost(of.shown) ? of.shown.before.place : of.shown.after.place;
}

void write_type(field_sink& out, const event_line& of) {
    const auto type = of.shown.attribute_type;
    if (!type) return;
    const auto row = std::ranges::find(type_rows, *type, &type_row::type);
    if (row != std::end(type_rows)) return out.text(row->name);
    append_number(out.begin_text(), *type, true);
    out.end_text();
}

using sink = field_sink;
using line = event_line;

// What a run has and an event has not.
constexpr field<line> own_fields[] = {
    {{"extent", 7, words}, [](sink& out, const line& of) { out.text(is_lost(of.shown) ? "lost" : "got"); }},
    {{"attribute", 22, words}, write_type},
    {{"vcn", 12, number}, [](sink& out, const line& of) { out.wide_number(place_of(of).runs.front().vcn); }},
    {{"lcn", 12, number}, [](sink& out, const line& of) { out.wide_number(*place_of(of).runs.front().lcn); }},
    {{"clusters", 12, number}, [](sink& out, const line& of) { out.wide_number(place_of(of).runs.front().clusters); }},
    {{"proved_by", 9, words}, [](sink& out, const line& of) { out.text(proof_word(place_of(of))); }},
    {{"free_at_end", 11, words}, [](sink& out, const line& of) { out.text(unused_word(place_of(of))); }},
};

constexpr std::string_view names[] = {
    "time",   "not_after", "clock",     "extent", "state",    "path",      "name_hex",      "type",        "known",
    "inode",  "seq",       "attribute", "vcn",    "lcn",      "clusters",  "proved_by",     "free_at_end", "lsn",
    "offset", "cut",       "volume",    "file",   "datetime", "timestamp", "timestamp_desc"};

}  // namespace

std::span<const field<event_line>> extent_fields() {
    static const std::vector<field<line>> fields = choose_event_fields(names, own_fields);
    return fields;
}

std::vector<field_title> titles_of_extents() {
    return titles_of(extent_fields());
}

}  // namespace kest
