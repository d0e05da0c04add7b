#include "report/row_lines.h"

#include "operations/operation_table.h"
#include "report/found_text.h"

namespace kest {

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
