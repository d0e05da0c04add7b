#include "report/json_rows.h"

#include "operations/operation_table.h"
#include "report/found_text.h"

namespace kest {

void json_teller::mft_record(const inode_record& record, std::uint64_t time, const journal_fact& fact) {
    m_line.begin_line();
    m_line.time("time", time);
    m_line.text_if_any("action", m_actions.of(fact.reason));
    m_line.number("lsn", record.lsn);
    m_line.text("level", mft_level);
    m_line.number("inode", record.inode);
    m_line.number("seq", record.sequence);
    if (record.is_base && !record.parents.empty()) {
        m_line.number("parent", record.first_parent().number());
        m_line.number("parent_seq", record.first_parent().sequence());
    }
    m_text.clear();
    m_details.clear(true);
    write_mft_record(m_details, record, m_inodes, m_options, m_text);
    write_path(false);
    m_line.text("log", m_log_path);
    write_details("details", m_details);
    m_line.end_line();
}

void json_teller::tell(const step& told) {
    m_line.begin_line();
    write_words(told);
    write_files(told);
    m_line.text("log", m_log_path);
    write_tie(told.redo.details, told.tie, m_options);
    write_details("details", told.redo.details);
    if (told.undo != nullptr) write_details("undo", told.undo->details);
    m_line.end_line();
}

void json_teller::write_words(const step& told) {
    const log_entry& entry = told.entry;
    m_line.time("time", told.time);
    m_line.text_if_any("ref", ref_word(told, m_transaction));
    m_line.text_if_any("action", m_actions.of(told, m_transaction));
    m_line.number("lsn", entry.this_lsn);
    m_line.text("level", level_word(told, m_transaction));
    m_text.clear();
    append_pattern(m_text, told, m_transaction);
    m_line.text("op_pattern", m_text);
    m_line.text("op_name", operation_name(entry.redo_op));
    if (entry.get(record_layout::lcns_to_follow) != 0) m_line.number("lcn", entry.get(record_layout::first_lcn));
}

void json_teller::write_files(const step& told) {
    if (told.shown) m_line.number("inode", told.shown->number());
    m_line.number_if_any("seq", told.file.sequence());
    m_line.number_if_any("parent", told.parent.number());
    m_line.number_if_any("parent_seq", told.parent.sequence());
    m_text.clear();
    append_path(m_text, told.tie);
    write_path(path_is_guess(told.tie));
}

void json_teller::write_path(bool guess) {
    m_line.text_if_any("path", m_text);
    if (guess) m_line.truth("guess", true);
}

void json_teller::write_details(std::string_view key, const details_writer& details) {
    const std::string_view members = details.members(m_room);
    if (!members.empty()) m_line.object(key, members);
}

}  // namespace kest
