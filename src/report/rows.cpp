#include "report/rows.h"

#include "format/number.h"
#include "operations/operation_table.h"
#include "report/columns.h"
#include "report/found_text.h"

namespace kest {

row_teller::row_teller(const logfile_options& options, const _inode_collection& inodes, row_writer& rows)
    : m_options(options), m_inodes(inodes), m_rows(rows), m_row(rows.new_row()), m_times(options.time_format) {}

void row_teller::mft_record(const inode_record& record, std::uint64_t time, const journal_fact& fact) {
    m_row.clear();
    m_details.clear();
    m_row.show_time(column_ids::time, m_times.text(time), !m_options.no_whitespace);
    m_row.show_text(column_ids::action, m_actions.of(fact.reason));
    m_row.show_text(column_ids::level, mft_level);
    m_row.set_number(column_ids::lsn, record.lsn);
    write_number(column_ids::inode, record.inode);
    write_number(column_ids::seq, record.sequence);
    if (record.is_base && !record.parents.empty()) {
        write_number(column_ids::parent, record.first_parent().number());
        write_number(column_ids::parent_seq, record.first_parent().sequence());
    }
    write_mft_record(m_details, record, m_inodes, m_options, m_row.text(column_ids::path));
    m_row.show_text(column_ids::details, m_details.text());
    m_rows.emit_row(m_row);
}

void row_teller::begin(const transaction& told) {
    m_transaction = told;
}

void row_teller::tell(const step& told) {
    m_row.clear();
    write_words(told);
    write_files(told);
    write_tie(told.redo.details, told.tie, m_options);
    m_row.show_text(column_ids::details, told.redo.details.text());
    if (told.undo != nullptr) m_row.show_text(column_ids::undo, told.undo->details.text());
    m_rows.emit_row(m_row);
}

void row_teller::write_words(const step& told) {
    const log_entry& entry = told.entry;
    m_row.show_time(column_ids::time, m_times.text(told.time), !m_options.no_whitespace);
    m_row.show_text(column_ids::ref, ref_word(told, m_transaction));
    m_row.show_text(column_ids::action, m_actions.of(told, m_transaction));
    m_row.set_number(column_ids::lsn, entry.this_lsn);
    m_row.show_text(column_ids::level, level_word(told, m_transaction));
    append_pattern(m_row.text(column_ids::op_pattern), told, m_transaction);
    m_row.show_text(column_ids::op_name, operation_name(entry.redo_op));
    if (entry.get(record_layout::lcns_to_follow) != 0) {
        write_number(column_ids::lcn, entry.get(record_layout::first_lcn));
    }
}

// Kept: the number is that ahead of association, so an inode found by that shows in the details alone.
void row_teller::write_files(const step& told) {
    if (told.shown) write_number(column_ids::inode, told.shown->number());
    write_if_known(column_ids::seq, told.file.sequence());
    write_if_known(column_ids::parent, told.parent.number());
    write_if_known(column_ids::parent_seq, told.parent.sequence());
    std::string& path = m_row.text(column_ids::path);
    if (path_is_guess(told.tie)) path += '*';
    append_path(path, told.tie);
}

void row_teller::write_number(std::size_t column, std::uint64_t value) {
    append_number(m_row.text(column), value, m_options.base16);
}

void row_teller::write_if_known(std::size_t column, std::uint64_t value) {
    if (value != 0) write_number(column, value);
}

}  // namespace kest
