#include "report/event_rows.h"

#include "format/number.h"
#include "format/safe_text.h"
#include "journal/usn_record.h"
#include "report/event_words.h"

namespace kest {

namespace {

constexpr bool words = true;
constexpr bool evidence_text = false;

enum column_id : std::size_t {
    time,
    clock,
    source,
    event_word,
    path,
    old_path,
    known,
    inode,
    seq,
    parent,
    parent_seq,
    lsn,
    offset,
    state,
    reason,
    log,
    details
};

struct column_row {
    std::string_view title;
    std::size_t width;  // bytes
    bool words_alone;
};

// In the order of `column_id`.
constexpr column_row columns[] = {
    {"time", 30, words},
    {"clock", 8, words},
    {"source", 8, words},
    {"event", 24, words},
    {"path", 40, evidence_text},
    {"old_path", 25, evidence_text},
    {"known", 6, words},
    {"inode", 12, words},
    {"seq", 12, words},
    {"parent", 12, words},
    {"parent_seq", 13, words},
    {"lsn", 12, words},
    {"offset", 12, words},
    {"state", 12, words},
    {"reason", 31, words},
    {"log", 25, evidence_text},
    {"details", 12, evidence_text},
};
static_assert(std::size(columns) == column_id::details + 1);

}  // namespace

std::vector<row_column> event_columns() {
    std::vector<row_column> out;
    for (const column_row& row : columns)
        out.push_back({std::string(row.title), row.width, row.words_alone, true});
    return out;
}

event_rows::event_rows(const logfile_options& options, std::string_view log_path, row_writer& rows)
    : m_options(options), m_rows(rows), m_row(rows.new_row()), m_times(options.time_format) {
    append_safe_text(m_log, log_path);
    append_safe_text(m_journal, options.jrnl_path);
}

void event_rows::tell(const event& told) {
    m_row.clear();
    m_row.show_time(column_id::time, m_times.text(told.time), !m_options.no_whitespace);
    m_row.show_text(column_id::clock, clock_word(told));
    m_row.show_text(column_id::source, source_word(told));
    append_event_word(m_row.text(column_id::event_word), told);
    m_row.show_text(column_id::path, told.path);
    m_row.show_text(column_id::old_path, told.old_path);
    m_row.show_text(column_id::known, known_word(told));
    append_number(m_row.text(column_id::inode), told.file.number(), m_options.base16);
    write_known_number(column_id::seq, told.file.sequence());
    write_known_number(column_id::parent, told.parent.number());
    write_known_number(column_id::parent_seq, told.parent.sequence());
    if (told.source != event_source::journal) m_row.set_number(column_id::lsn, told.lsn);
    m_row.set_number(column_id::offset, told.file_offset);
    append_state(m_row.text(column_id::state), told);
    append_reason_text(m_row.text(column_id::reason), told.reasons, false);
    m_row.show_text(column_id::log, told.source == event_source::journal ? m_journal : m_log);
    m_details.clear();
    write_event_details(m_details, told, m_options);
    m_row.show_text(column_id::details, m_details.text());
    m_rows.emit_row(m_row);
}

void event_rows::write_known_number(std::size_t column, std::uint64_t value) {
    if (value != 0) append_number(m_row.text(column), value, m_options.base16);
}

}  // namespace kest
