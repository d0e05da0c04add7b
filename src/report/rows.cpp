#include "report/rows.h"

#include <algorithm>

#include "format/number.h"
#include "journal/usn_record.h"
#include "operations/operation_table.h"
#include "report/match_details.h"

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
    {{"details", 12, any_text}, [](sink& out, const line& of) { out.details(*of.details); }},
    {{"undo", 12, any_text, field_presence::undo},
     [](sink& out, const line& of) {
         if (of.undo != nullptr) out.details(*of.undo);
     }},
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

constexpr std::string_view head_level = "root";
constexpr std::string_view cut_level = "cut";
constexpr std::string_view cut_pattern = "..-";  // ahead of the operations that are left
constexpr std::string_view member_level = "..sub-op";
constexpr std::string_view journal_mark = "<- usnjrnl";

void append_operation(std::string& out, std::uint16_t redo_op) {
    append_hex(out, redo_op, 2, false);
}

const std::string& known_path(const file_tie& tie) {
    return tie.path.empty() ? tie.owner_path : tie.path;
}

}  // namespace

std::string_view level_word(const step& told, const transaction& of) {
    if (!told.head) return member_level;
    return of.cut ? cut_level : head_level;
}

std::string_view ref_word(const step& told, const transaction& of) {
    return of.fact.reason != 0 && told.brought_journal ? journal_mark : std::string_view{};
}

std::string_view action_words::of(const step& told, const transaction& whole) {
    return whole.fact.reason == 0 ? event_word(told.entry.redo_op) : of(whole.fact.reason);
}

std::string_view action_words::of(std::uint32_t reason) {
    if (reason != m_reason) {
        m_text.clear();
        append_reason_text(m_text, reason, false);
        m_reason = reason;
    }
    return m_text;
}

void append_pattern(std::string& out, const step& told, const transaction& of) {
    if (!told.head) {
        out += "-- 0x";
        append_operation(out, told.entry.redo_op);
        return;
    }
    if (of.cut) out += cut_pattern;
    append_operation(out, told.entry.redo_op);
    for (const std::uint16_t operation : of.operations.subspan(1)) {
        out += '-';
        append_operation(out, operation);
    }
}

void append_path(std::string& out, const file_tie& tie) {
    const std::string& path = known_path(tie);
    if (!path.empty()) {
        out += path;
    } else if (!tie.name.empty()) {
        out.append(unknown_path).append(tie.name);
    }
}

bool path_is_guess(const file_tie& tie) {
    return tie.guessed && !known_path(tie).empty();
}

namespace {

std::optional<std::uint64_t> if_known(std::uint64_t value) {
    return value != 0 ? std::optional(value) : std::nullopt;
}

}  // namespace

void row_lines::mft_record(const inode_record& record, std::uint64_t time, const journal_fact& fact) {
    m_path.clear();
    m_details.clear(m_options.as_json);
    write_mft_record(m_details, record, m_inodes, m_options, m_path);
    row_line row = {.time = time,
                    .action = m_actions.of(fact.reason),
                    .lsn = record.lsn,
                    .level = mft_level,
                    .inode = record.inode,
                    .seq = record.sequence,
                    .path = m_path,
                    .log = m_log,
                    .details = &m_details};
    if (record.is_base && !record.parents.empty()) {
        row.parent = record.first_parent().number();
        row.parent_seq = record.first_parent().sequence();
    }
    write_line(m_out, m_fields, row);
}

void row_lines::tell(const step& told) {
    row_line row = {.time = told.time, .log = m_log, .details = &told.redo.details};
    set_words(row, told);
    set_files(row, told);
    write_tie(told.redo.details, told.tie, m_options);
    if (told.undo != nullptr) row.undo = &told.undo->details;
    write_line(m_out, m_fields, row);
}

void row_lines::set_words(row_line& row, const step& told) {
    const log_entry& entry = told.entry;
    row.ref = ref_word(told, m_transaction);
    row.action = m_actions.of(told, m_transaction);
    row.lsn = entry.this_lsn;
    row.level = level_word(told, m_transaction);
    m_pattern.clear();
    append_pattern(m_pattern, told, m_transaction);
    row.op_pattern = m_pattern;
    row.op_name = operation_name(entry.redo_op);
    if (entry.get(record_layout::lcns_to_follow) != 0) row.lcn = entry.get(record_layout::first_lcn);
}

// Kept: the number is that from before association, so an inode found by that shows in the details only.
void row_lines::set_files(row_line& row, const step& told) {
    if (told.shown) row.inode = told.shown->number();
    row.seq = if_known(told.file.sequence());
    row.parent = if_known(told.parent.number());
    row.parent_seq = if_known(told.parent.sequence());
    m_path.clear();
    append_path(m_path, told.tie);
    row.path = m_path;
    row.guess = path_is_guess(told.tie);
}

}  // namespace kest
