#include "report/event_rows.h"

#include "format/number.h"
#include "format/safe_text.h"
#include "journal/usn_record.h"
#include "operations/attribute_names.h"
#include "portable/utf16.h"

namespace kest {

namespace {

constexpr bool words = true;
constexpr bool evidence_text = false;

enum column_id : std::size_t {
    time,
    clock,
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

// In the order of their enumerations.
constexpr std::string_view clock_words[] = {"journal", "record", "after"};
constexpr std::string_view known_words[] = {"log", "mft", "part", "guess"};
constexpr std::string_view state_words[] = {"done", "open", "undone"};
constexpr std::string_view kind_words[] = {
    "created",
    "deleted",
    "renamed",
    "moved",
    "link_added",
    "link_removed",
    "stream_added",
    "stream_removed",
    "resized",
    "times_set",
    "attributes_set",
    "reparse_point_set",
    "reparse_point_removed",
    "object_id_set",
};
static_assert(std::size(kind_words) == static_cast<std::size_t>(event_kind::reason_given));
constexpr std::string_view cut_mark = "cut; ";

constexpr std::string_view time_keys[] = {"created", "modified", "mft_changed", "accessed"};
static_assert(std::size(time_keys) == event_values::time_count);

template <class code, std::size_t count>
std::string_view word_of(const std::string_view (&table)[count], code value) {
    return table[static_cast<std::size_t>(value)];
}

void append_event_word(std::string& out, const event& told) {
    if (told.kind == event_kind::reason_given) {
        append_reason_text(out, told.said_reason, false);
    } else {
        out += word_of(kind_words, told.kind);
    }
}

// Bits without a word follow as a number.
void append_attribute_bits(std::string& out, std::uint32_t bits, bool some) {
    constexpr std::uint32_t index_marks = 0xF000'0000;  // of the index entry, and none of the file
    const std::uint32_t shown = bits & ~index_marks;
    std::uint32_t rest = shown;
    for (const flag_word& row : file_flag_words())
        rest &= ~row.bits;
    const bool any = append_flag_words(out, shown, file_flag_words(), ", ");
    if (rest != 0) {
        if (any) out += ", ";
        append_number(out, rest, true);
    } else if (!any && !some) {
        out += "none set";
    }
}

}  // namespace

std::vector<row_column> event_columns() {
    std::vector<row_column> out;
    for (const column_row& row : columns)
        out.push_back({std::string(row.title), row.width, row.words_alone});
    return out;
}

event_rows::event_rows(const logfile_options& options, std::string_view log_path, row_writer& rows)
    : m_options(options), m_rows(rows), m_row(rows.new_row()), m_times(options.time_format) {
    append_safe_text(m_log, log_path);
}

void event_rows::tell(const event& told) {
    m_row.clear();
    m_row.show_time(column_id::time, m_times.text(told.time), !m_options.no_whitespace);
    m_row.show_text(column_id::clock, word_of(clock_words, told.clock));
    append_event_word(m_row.text(column_id::event_word), told);
    append_safe_text(m_row.text(column_id::path), told.path);
    append_safe_text(m_row.text(column_id::old_path), told.old_path);
    m_row.show_text(column_id::known, word_of(known_words, told.known));
    append_number(m_row.text(column_id::inode), told.file.number(), m_options.base16);
    write_known_number(column_id::seq, told.file.sequence());
    write_known_number(column_id::parent, told.parent.number());
    write_known_number(column_id::parent_seq, told.parent.sequence());
    m_row.set_number(column_id::lsn, told.lsn);
    m_row.set_number(column_id::offset, told.file_offset);
    std::string& state_text = m_row.text(column_id::state);
    if (told.cut) state_text += cut_mark;
    state_text += word_of(state_words, told.state);
    append_reason_text(m_row.text(column_id::reason), told.reasons, false);
    m_row.show_text(column_id::log, m_log);
    m_details.clear();
    write_values("before", told.before);
    write_values("after", told.after);
    m_row.show_text(column_id::details, m_details.text());
    m_rows.emit_row(m_row);
}

void event_rows::write_known_number(std::size_t column, std::uint64_t value) {
    if (value != 0) append_number(m_row.text(column), value, m_options.base16);
}

void event_rows::write_values(std::string_view side, const event_values& values) {
    m_details.open_group(side);
    for (std::size_t at = 0; at < values.times.size(); ++at) {
        if (values.times[at]) m_details.time(time_keys[at], *values.times[at], m_options);
    }
    if (values.is_directory) m_details.field("flags", *values.is_directory ? "directory" : "plain_file");
    if (values.flags) {
        append_attribute_bits(m_details.begin_field("flags"), *values.flags, values.some_flags);
        m_details.end_field();
    }
    if (values.real_size) m_details.number("real_size", *values.real_size, m_options);
    if (values.parent) {
        m_details.number("parent_inode", values.parent->number(), m_options);
        m_details.number("parent_seq", values.parent->sequence(), m_options);
    }
    if (!values.name.empty()) {
        m_text.clear();
        uni::append_utf16_text(m_text, values.name);
        append_quoted_text(m_details.begin_field("name"), m_text);
        m_details.end_field();
    }
    if (values.reparse_tag) m_details.number("tag", *values.reparse_tag, m_options);
    if (values.object_id.size() >= guid_size) {
        append_guid(m_details.begin_field("object_id"), values.object_id);
        m_details.end_field();
    }
    if (values.reasons) {
        append_reason_text(m_details.begin_field("reason"), *values.reasons, false);
        m_details.end_field();
    }
    m_details.close_group();
}

}  // namespace kest
