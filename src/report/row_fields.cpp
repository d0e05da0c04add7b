#include "report/row_fields.h"

#include <algorithm>

#include "format/number.h"
#include "format/put_text.h"
#include "journal/usn_record.h"
#include "operations/operation_table.h"

namespace kest {

namespace {

constexpr std::string_view path_title = "path";
constexpr std::string_view guessed_path_title = "path (*guess)";

using enum field_kind;

void write_if_any(field_sink& out, std::optional<std::uint64_t> value) {
    if (value) out.number(*value);
}

using sink = field_sink;
using line = row_line;

constexpr field<line> fields[] = {
    {{"time", 30, moment}, [](sink& out, const line& of) { out.time(of.time); }},
    {{"ref", 30, words}, [](sink& out, const line& of) { out.text(of.ref); }},
    {{"action", 31, words}, [](sink& out, const line& of) { out.text(of.action); }},
    {{"lsn", 12, number}, [](sink& out, const line& of) { out.wide_number(of.lsn); }},
    {{"level", 8, words}, [](sink& out, const line& of) { out.text(of.level); }},
    {{"op_pattern", 30, words}, [](sink& out, const line& of) { out.text(of.op_pattern); }},
    {{"op_name", 28, words}, [](sink& out, const line& of) { out.text(of.op_name); }},
    {{"lcn", 10, number}, [](sink& out, const line& of) { write_if_any(out, of.lcn); }},
    {{"inode", 12, number}, [](sink& out, const line& of) { write_if_any(out, of.inode); }},
    {{"seq", 12, number}, [](sink& out, const line& of) { write_if_any(out, of.seq); }},
    {{"parent", 12, number}, [](sink& out, const line& of) { write_if_any(out, of.parent); }},
    {{"parent_seq", 13, number}, [](sink& out, const line& of) { write_if_any(out, of.parent_seq); }},
    {{path_title, 25, any_text}, [](sink& out, const line& of) { out.path(of.path, of.guess); }},
    {{"guess", 7, truth, field_presence::objects},
     [](sink& out, const line& of) {
         if (of.guess) out.truth(true);
     }},
    {{"log", 25, any_text, field_presence::objects}, [](sink& out, const line& of) { out.evidence(of.log); }},
    {{"details", 12, object}, [](sink& out, const line& of) { out.details(of.details); }},
    {{"undo", 12, object, field_presence::undo}, [](sink& out, const line& of) { out.details(of.undo); }},
    {{"volume", 25, any_text, field_presence::sets}, [](sink& out, const line& of) { out.evidence(of.volume); }},
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

namespace {

constexpr std::string_view details_label = "mft";

void write_times(details_writer& details, const file_times& times, std::string_view file_time_row::*key) {
    for (const file_time_row& row : file_time_rows)
        details.time(row.*key, times.*row.time);
}

void write_base_record(details_writer& details, const inode_record& record, const _inode_collection& inodes,
                       std::string& path) {
    details.field("name", record.name);
    for (const inode_ref parent : record.parents) {
        details.in_list().number("parent", parent.number());
        if (const inode_record* directory = inodes.find_directory(parent.number())) {
            details.in_list().field("path", directory->path);
            path.assign(directory->path).append(record.name);
        }
    }
    if (record.usn != 0) details.number("usn", record.usn);
    write_times(details, record.si_times, &file_time_row::si_key);
    write_times(details, record.fn_times, &file_time_row::fn_key);
    details.number("allocated_size", record.allocated_size);
    details.number("real_size", record.real_size);
}

void write_extension_record(details_writer& details, const inode_record& record) {
    std::string& value = details.begin_field("extension");
    value += "inode ";
    append_number(value, record.inode, details.style().base16);
    value += " base ";
    append_number(value, record.further->base_records.empty() ? 0 : *record.further->base_records.begin(),
                  details.style().base16);
    details.end_field();
}

void write_owner(details_writer& details, const file_match& match) {
    details.open_group(details_label);
    details.number("inode", match.owner);
    if (match.parent_found) details.in_list().number("parent", match.parent.number());
    if (match.directory != nullptr) details.in_list().field("path", match.owner_path);
    details.close_group();
}

void write_found_file(details_writer& details, const file_match& match) {
    const candidate& found = *match.found;
    details.open_group(details_label);
    if (match.extension) {
        std::string& value = details.begin_field("base");
        append_number(value, *found.base_record, details.style().base16);
        value += " extension- ";
        append_number(value, *match.extension, details.style().base16);
        details.end_field();
    }
    if (found.parent) details.file(found.ref);
    if (match.conflict == match_conflict::parent) details.field("mismatch", "parent differs");
    if (match.conflict == match_conflict::sequence) details.field("mismatch", "seq differs");
    if (!found.name.empty()) details.field("name", found.name);
    if (!found.path.empty()) details.in_list().field("path", found.path);
    if (match.parent_found) details.in_list().number("parent", match.parent.number());
    details.close_group();
}

void write_match(details_writer& details, const file_match& match) {
    if (match.owner != 0) {
        write_owner(details, match);
    } else if (match.found != nullptr) {
        write_found_file(details, match);
    }
}

void write_mft_record(details_writer& details, const inode_record& record, const _inode_collection& inodes,
                      std::string& path) {
    details.open_group(details_label);
    if (record.is_base) {
        write_base_record(details, record, inodes, path);
    } else {
        write_extension_record(details, record);
    }
    details.close_group();
}

constexpr std::string_view mft_level = "mft";
constexpr std::string_view head_level = "root";
constexpr std::string_view cut_level = "cut";
constexpr std::string_view cut_pattern = "..-";  // before the operations that are left
constexpr std::string_view member_level = "..sub-op";
constexpr std::string_view member_pattern = "-- 0x";  // before its operation
constexpr std::string_view journal_mark = "<- usnjrnl";

std::optional<std::uint64_t> if_known(std::uint64_t value) {
    return value != 0 ? std::optional(value) : std::nullopt;
}

std::string_view known_path(const file_match& match) {
    return match.path.empty() ? match.owner_path : match.path;
}

std::string_view level_word(const step& shown, const transaction& of) {
    if (!shown.head) return member_level;
    return of.cut ? cut_level : head_level;
}

std::string_view ref_word(const step& shown, const transaction& of) {
    return of.fact.reason != 0 && shown.brought_journal ? journal_mark : std::string_view{};
}

bool path_is_guess(const file_match& match) {
    return match.guessed && !known_path(match).empty();
}

}  // namespace

std::string_view action_words::of(const step& shown, const transaction& whole) {
    return whole.fact.reason == 0 ? event_word(shown.entry.redo_op()) : of(whole.fact.reason);
}

std::string_view action_words::of(std::uint32_t reason) {
    if (reason != m_reason) {
        m_text.clear();
        append_reason_text(m_text, reason, false);
        m_reason = reason;
    }
    return m_text;
}

void row_lines::write_mft_record(const inode_record& record, std::uint64_t time, const journal_fact& fact) {
    m_path.clear();
    m_details->clear();
    kest::write_mft_record(*m_details, record, m_inodes, m_path);
    row_line row = {.time = time,
                    .action = m_actions.of(fact.reason),
                    .lsn = record.lsn,
                    .level = mft_level,
                    .inode = record.inode,
                    .seq = record.sequence,
                    .path = m_path,
                    .log = m_log,
                    .details = m_details->text(),
                    .volume = m_volume};
    if (record.is_base && !record.parents.empty()) {
        row.parent = record.first_parent().number();
        row.parent_seq = record.first_parent().sequence();
    }
    write_line(m_out, m_fields, row);
}

void row_lines::write_step(const step& shown) {
    m_row.time = shown.time;
    set_words(shown);
    set_files(shown);
    write_match(shown.redo.details, shown.match);
    m_row.details = shown.redo.details.text();
    if (shown.undo != nullptr) m_row.undo = shown.undo->details.text();
    write_line(m_out, m_fields, m_row);
}

void row_lines::set_words(const step& shown) {
    const log_entry& entry = shown.entry;
    m_row.ref = ref_word(shown, m_transaction);
    m_row.action = m_actions.of(shown, m_transaction);
    m_row.lsn = entry.this_lsn();
    m_row.level = level_word(shown, m_transaction);
    m_row.op_pattern = pattern_of(shown);
    m_row.op_name = operation_name(entry.redo_op());
    m_row.lcn.reset();
    if (entry.get(record_layout::lcns_to_follow) != 0) m_row.lcn = entry.get(record_layout::first_lcn);
}

// The operation codes of the whole transaction for a head, its own for a member.
std::string_view row_lines::pattern_of(const step& shown) {
    constexpr std::size_t most_digits = 4, room_of_digits = 16;
    const std::size_t codes = shown.head ? m_transaction.operations.size() : 1;
    const std::size_t most = member_pattern.size() + codes * (most_digits + 1) + room_of_digits;
    if (m_pattern.size() < most) m_pattern.resize(most);
    char* const begin = m_pattern.data();
    char* at = begin;
    if (!shown.head) {
        at = put_text(at, member_pattern);
    } else if (m_transaction.cut) {
        at = put_text(at, cut_pattern);
    }
    at = put_hex(at, shown.entry.redo_op(), 2);
    for (std::size_t code = 1; code < codes; ++code) {
        *at++ = '-';
        at = put_hex(at, m_transaction.operations[code], 2);
    }
    return {begin, at};
}

// Kept: the number is that from before association, so an inode found by that shows in the details only.
void row_lines::set_files(const step& shown) {
    m_row.inode.reset();
    if (shown.shown) m_row.inode = shown.shown->number();
    m_row.seq = if_known(shown.file.sequence());
    m_row.parent = if_known(shown.parent.number());
    m_row.parent_seq = if_known(shown.parent.sequence());
    m_row.path = path_of(shown.match);
    m_row.guess = path_is_guess(shown.match);
}

// Empty if neither path nor name is known.
std::string_view row_lines::path_of(const file_match& match) {
    const std::string_view path = known_path(match);
    if (!path.empty() || match.name.empty()) return path;
    return m_path.assign(unknown_path).append(match.name);
}

}  // namespace kest
