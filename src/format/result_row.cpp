#include "format/result_row.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "format/number.h"
#include "format/safe_text.h"

namespace kest {

namespace {

constexpr std::string_view hex_prefix = "0x";
constexpr std::size_t hex_digits = 8;  // the fewest of a number that is not padded to its column

// How far a field of `width` reaches after the `used` bytes at its front; 0 if they do not fit into it.
constexpr std::size_t width_left(std::size_t width, std::size_t used) {
    return width < used ? 0 : width - used;
}

void append_padding(std::string& out, std::size_t written, std::size_t width) {
    if (written < width) out.append(width - written, ' ');
}

constexpr std::size_t most_in_place = 65'536;  // bytes of a value; a longer one is written piece by piece

// Appends `text` from `at` on with its line ends as words, in one pass: a carriage return is used for one line feed
// only. Ends after the text, or once `out` has `most` bytes; says where.
std::size_t append_marked(std::string& out, std::string_view text, std::size_t at, bool marks_lone_returns,
                          std::size_t most) {
    while (at < text.size() && out.size() < most) {
        const std::string_view next = text.substr(at, most - out.size());
        const std::size_t plain = std::min(next.find_first_of("\r\n"), next.size());
        out += next.substr(0, plain);
        at += plain;
        if (plain == next.size()) continue;
        const std::string_view two = text.substr(at, 2);
        if (two == "\r\n" || two == "\n\r") {
            out += two == "\r\n" ? "[CRLF]" : "[LFCR]";
            ++at;
        } else if (text[at] == '\n') {
            out += "[LF]";
        } else if (marks_lone_returns) {
            out += "[CR]";
        } else {
            out += '\r';
        }
        ++at;
    }
    return at;
}

// Kept: a lone carriage return has a word only in a text without a line feed.
bool marks_lone_returns(std::string_view text) {
    return text.find('\n') == std::string_view::npos;
}

bool holds_line_end(std::string_view text) {
    return text.find('\n') != std::string_view::npos || text.find('\r') != std::string_view::npos;
}

// Most separators have one byte, and many fields none.
char* put(char* at, std::string_view text) {
    if (text.size() > 1) return std::copy_n(text.data(), text.size(), at);
    if (!text.empty()) *at++ = text.front();
    return at;
}

constexpr char quote = '"';

// Each quote twice; not those around the text.
char* put_doubled(char* at, std::string_view text) {
    for (const char c : text) {
        if (c == quote) *at++ = quote;
        *at++ = c;
    }
    return at;
}

void replace_bytes(char* begin, char* end, char from, char to) {
    const auto find = [end, from](char* at) {
        return static_cast<char*>(std::memchr(at, from, static_cast<std::size_t>(end - at)));
    };
    for (char* at = find(begin); at != nullptr; at = find(at + 1))
        *at = to;
}

char* put_padding(char* at, std::size_t written, std::size_t width) {
    return written < width ? std::fill_n(at, width - written, ' ') : at;
}

// Kept: a decimal number, too, is padded as if "0x" stood in front of it.
char* put_wide_number(char* at, std::uint64_t number, std::size_t width, const row_style& style, bool base16) {
    const std::size_t digits = width_left(width, hex_prefix.size());
    if (base16) return put_hex(put(at, hex_prefix), number, style.no_whitespace ? hex_digits : digits);
    char text[most_number_bytes];
    const std::size_t size = put_number(text, number, false);
    if (!style.no_whitespace) at = put_padding(at, size, digits);
    return put(at, {text, size});
}

}  // namespace

void result_row::clear() {
    for (result_cell& cell : m_cells) {
        cell.type = result_cell::kind::shown_text;
        cell.led_by_blank = false;
        cell.shown = {};
    }
}

std::string& result_row::text(std::size_t column) {
    result_cell& cell = m_cells[column];
    cell.type = result_cell::kind::own_text;
    cell.led_by_blank = false;
    cell.text.clear();
    return cell.text;
}

void result_row::show_text(std::size_t column, std::string_view text) {
    show_time(column, text, false);
}

void result_row::show_time(std::size_t column, std::string_view text, bool led_by_blank) {
    result_cell& cell = m_cells[column];
    cell.type = result_cell::kind::shown_text;
    cell.led_by_blank = led_by_blank;
    cell.shown = text;
}

void result_row::set(std::size_t column, result_cell::kind type, std::uint64_t value) {
    result_cell& cell = m_cells[column];
    cell.type = type;
    cell.led_by_blank = false;
    cell.shown = {};
    cell.number = value;
}

row_writer::row_writer(uni::fileio_output& report_sink, const row_style& style, bool base16,
                       std::vector<row_column> columns)
    : m_sink(report_sink), m_style(style), m_base16(base16), m_header_due(style.titles), m_columns(std::move(columns)) {
    // Each character of a separator: of several the first could be taken for it at a value's end.
    for (const char c : style.separator + "\"\r\n")
        m_quoted_bytes[static_cast<std::uint8_t>(c)] = true;
    if (!style.quotes && std::ranges::any_of(m_columns, &row_column::marks_separator))
        m_separating = separating_character(style.separator).value_or("");
    if (!style.no_whitespace) return;
    for (row_column& column : m_columns)
        column.width = 0;
}

void row_writer::write_header() {
    if (!m_header_due) return;
    m_header_due = false;
    std::string line;
    std::string_view separator;
    for (const row_column& column : m_columns) {
        const std::string title = shown_title(column);
        line.append(separator).append(title);
        append_padding(line, title.size(), column.width);
        separator = m_style.separator;
    }
    line += '\n';
    m_sink.write(line);
}

// What separates fields is in a title what it is in a value.
std::string row_writer::shown_title(const row_column& column) const {
    if (m_style.quotes && needs_quotes(column.title)) return quote + column.title + quote;
    if (!column.marks_separator || m_separating.empty()) return column.title;
    std::string marked;
    append_marked_text(marked, column.title, m_separating);
    return marked;
}

// Few rows hold a line end: they are looked for in the finished line.
void row_writer::emit_row(result_row& row) {
    write_header();
    if (!m_separating.empty()) mark_separators(row);
    if (put_line(row, m_style.marks_line_ends)) return;
    mark_line_ends(row);
    put_line(row, false);
}

bool row_writer::put_line(const result_row& row, bool wants_marks) {
    wants_marks = wants_marks && !m_style.quotes;
    const std::size_t most = most_bytes(row, 0, row.cells().size());
    if (most > most_in_place) {
        if (!wants_marks) write_wide_row(row);
        return !wants_marks;
    }
    char* const begin = m_sink.room(most);
    char* end = put_cells(begin, row, 0, row.cells().size());
    if (wants_marks && holds_line_end({begin, end})) return false;
    *end++ = '\n';
    m_sink.advance(static_cast<std::size_t>(end - begin));
    return true;
}

// Takes no memory in proportion to the line.
void row_writer::write_wide_row(const result_row& row) {
    for (std::size_t column = 0; column < row.cells().size(); ++column) {
        const std::string_view text = row.cells()[column].value();
        if (text.size() > most_in_place) {
            if (column != 0) m_sink.write(m_style.separator);
            if (m_style.quotes) {
                write_wide_quoted(text);
            } else {
                write_wide_text(text, column);
            }
        } else {
            char* const begin = m_sink.room(most_bytes(row, column, column + 1));
            m_sink.advance(static_cast<std::size_t>(put_cells(begin, row, column, column + 1) - begin));
        }
    }
    m_sink.write("\n");
}

void row_writer::write_wide_text(std::string_view text, std::size_t column) {
    const bool words_only = m_columns[column].words_only;
    const bool lone_returns = marks_lone_returns(text);
    std::string piece;
    for (std::size_t at = 0; at < text.size();) {
        piece.clear();
        if (m_style.marks_line_ends && !words_only) {
            at = append_marked(piece, text, at, lone_returns, most_in_place);
        } else {
            piece = text.substr(at, most_in_place);
            at += piece.size();
        }
        if (replaces(column)) {
            replace_bytes(piece.data(), piece.data() + piece.size(), m_style.sep_char, m_style.sep_subst);
        }
        m_sink.write(piece);
    }
}

void row_writer::write_wide_quoted(std::string_view text) {
    m_sink.write({&quote, 1});
    for (; !text.empty(); text.remove_prefix(std::min(text.size(), most_in_place))) {
        const std::string_view piece = text.substr(0, most_in_place);
        char* const begin = m_sink.room(2 * piece.size());
        m_sink.advance(static_cast<std::size_t>(put_doubled(begin, piece) - begin));
    }
    m_sink.write({&quote, 1});
}

bool row_writer::needs_quotes(std::string_view text) const {
    return std::ranges::any_of(text, [this](char c) { return m_quoted_bytes[static_cast<std::uint8_t>(c)]; });
}

// Replaces the line ends of the row's values by words.
void row_writer::mark_line_ends(result_row& row) const {
    for (std::size_t at = 0; at < row.cells().size(); ++at) {
        result_cell& cell = row.cells()[at];
        if (m_columns[at].words_only || cell.is_number()) continue;
        if (cell.value().size() > most_in_place || !holds_line_end(cell.value())) continue;
        const std::string text(cell.value());
        cell.type = result_cell::kind::own_text;
        cell.text.clear();
        append_marked(cell.text, text, 0, marks_lone_returns(text), std::string::npos);
    }
}

// Few values hold what separates them, and most cells of an event are short or empty: a single byte is looked for
// first.
void row_writer::mark_separators(result_row& row) const {
    for (std::size_t at = 0; at < row.cells().size(); ++at) {
        result_cell& cell = row.cells()[at];
        const std::string_view value = cell.is_number() ? std::string_view{} : cell.value();
        if (value.empty() || !m_columns[at].marks_separator) continue;
        if (value.find(m_separating.front()) == value.npos || value.find(m_separating) == value.npos) continue;
        const std::string text(cell.value());
        cell.type = result_cell::kind::own_text;
        cell.text.clear();
        append_marked_text(cell.text, text, m_separating);
    }
}

// Bytes that some cells of the line have at most.
std::size_t row_writer::most_bytes(const result_row& row, std::size_t first, std::size_t last) const {
    constexpr std::size_t blank_and_quotes = 3;
    const std::size_t besides = m_style.separator.size() + blank_and_quotes + hex_prefix.size() + most_number_bytes;
    const unsigned doubled = m_style.quotes ? 1 : 0;
    std::size_t most = 1 + (last - first) * besides;
    for (std::size_t at = first; at < last; ++at)
        most += (row.cells()[at].value().size() << doubled) + m_columns[at].width;
    return most;
}

// The cells, each with its separator before it; says where they end.
char* row_writer::put_cells(char* at, const result_row& row, std::size_t first, std::size_t last) const {
    const bool quotes = m_style.quotes;
    for (std::size_t column = first; column < last; ++column) {
        const result_cell& cell = row.cells()[column];
        if (column != 0) at = put(at, m_style.separator);
        if (cell.led_by_blank) *at++ = ' ';
        const std::size_t width = width_left(m_columns[column].width, cell.led_by_blank ? 1 : 0);
        if (cell.type == result_cell::kind::wide_number) {
            at = put_wide_number(at, cell.number, width, m_style, m_base16);
            continue;
        }
        if (cell.type == result_cell::kind::number) {
            const std::size_t size = put_number(at, cell.number, m_base16);
            at = put_padding(at + size, size, width);
            continue;
        }
        const std::string_view text = cell.value();
        if (quotes && needs_quotes(text)) {
            *at++ = quote;
            at = put_doubled(at, text);
            *at++ = quote;
            continue;
        }
        char* const begin = at;
        at = put(at, text);
        if (replaces(column)) replace_bytes(begin, at, m_style.sep_char, m_style.sep_subst);
        at = put_padding(at, text.size(), width);
    }
    return at;
}

std::string line_ends_as_words(std::string_view text) {
    std::string marked;
    append_marked(marked, text, 0, true, std::string::npos);
    return marked;
}

}  // namespace kest
