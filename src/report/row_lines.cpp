#include "report/row_lines.h"

#include "format/number.h"
#include "journal/usn_record.h"
#include "operations/operation_table.h"
#include "report/match_details.h"

namespace kest {

namespace {

constexpr std::string_view mft_level = "mft";
constexpr std::string_view head_level = "root";
constexpr std::string_view cut_level = "cut";
constexpr std::string_view cut_pattern = "..-";  // before the operations that are left
constexpr std::string_view member_level = "..sub-op";
constexpr std::string_view journal_mark = "<- usnjrnl";

std::optional<std::uint64_t> if_known(std::uint64_t value) {
    return value != 0 ? std::optional(value) : std::nullopt;
}

void append_operation(std::string& out, std::uint16_t redo_op) {
    append_hex(out, redo_op, 2, false);
}

const std::string& known_path(const file_match& match) {
    return match.path.empty() ? match.owner_path : match.path;
}

std::string_view level_word(const step& shown, const transaction& of) {
    if (!shown.head) return member_level;
    return of.cut ? cut_level : head_level;
}

std::string_view ref_word(const step& shown, const transaction& of) {
    return of.fact.reason != 0 && shown.brought_journal ? journal_mark : std::string_view{};
}

// The operation codes of the whole transaction for a head, its own for a member.
void append_pattern(std::string& out, const step& shown, const transaction& of) {
    if (!shown.head) {
        out += "-- 0x";
        append_operation(out, shown.entry.redo_op);
        return;
    }
    if (of.cut) out += cut_pattern;
    append_operation(out, shown.entry.redo_op);
    for (const std::uint16_t operation : of.operations.subspan(1)) {
        out += '-';
        append_operation(out, operation);
    }
}

// Appends nothing if neither path nor name is known.
void append_path(std::string& out, const file_match& match) {
    const std::string& path = known_path(match);
    if (!path.empty()) {
        out += path;
    } else if (!match.name.empty()) {
        out.append(unknown_path).append(match.name);
    }
}

bool path_is_guess(const file_match& match) {
    return match.guessed && !known_path(match).empty();
}

}  // namespace

std::string_view action_words::of(const step& shown, const transaction& whole) {
    return whole.fact.reason == 0 ? event_word(shown.entry.redo_op) : of(whole.fact.reason);
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
                    .details = m_details->text()};
    if (record.is_base && !record.parents.empty()) {
        row.parent = record.first_parent().number();
        row.parent_seq = record.first_parent().sequence();
    }
    write_line(m_out, m_fields, row);
}

void row_lines::write_step(const step& shown) {
    row_line row = {.time = shown.time, .log = m_log};
    set_words(row, shown);
    set_files(row, shown);
    write_match(shown.redo.details, shown.match);
    row.details = shown.redo.details.text();
    if (shown.undo != nullptr) row.undo = shown.undo->details.text();
    write_line(m_out, m_fields, row);
}

void row_lines::set_words(row_line& row, const step& shown) {
    const log_entry& entry = shown.entry;
    row.ref = ref_word(shown, m_transaction);
    row.action = m_actions.of(shown, m_transaction);
    row.lsn = entry.this_lsn;
    row.level = level_word(shown, m_transaction);
    m_pattern.clear();
    append_pattern(m_pattern, shown, m_transaction);
    row.op_pattern = m_pattern;
    row.op_name = operation_name(entry.redo_op);
    if (entry.get(record_layout::lcns_to_follow) != 0) row.lcn = entry.get(record_layout::first_lcn);
}

// Kept: the number is that from before association, so an inode found by that shows in the details only.
void row_lines::set_files(row_line& row, const step& shown) {
    if (shown.shown) row.inode = shown.shown->number();
    row.seq = if_known(shown.file.sequence());
    row.parent = if_known(shown.parent.number());
    row.parent_seq = if_known(shown.parent.sequence());
    m_path.clear();
    append_path(m_path, shown.match);
    row.path = m_path;
    row.guess = path_is_guess(shown.match);
}

}  // namespace kest
