#include "format/result_row.h"

#include <algorithm>
#include <cstring>

#include "format/number.h"

namespace kest {

namespace {

constexpr std::string_view hex_prefix = "0x";
constexpr std::size_t hex_digits = 8;  // the fewest of a number that is not padded to its column

// How far a field of `width` reaches behind the `used` bytes at its front; 0 if they do not fit into it.
constexpr std::size_t width_left(std::size_t width, std::size_t used) {
    return width < used ? 0 : width - used;
}

void append_padding(std::string& out, std::size_t written, std::size_t width) {
    if (written < width) out.append(width - written, ' ');
}

// Appends `text` with its line ends as words, in one pass: a carriage return is used for one line feed only.
// Kept: a lone carriage return has a word only in a text without a line feed.
void append_marked_line_ends(std::string& out, std::string_view text) {
    const bool has_line_feed = text.find('\n') != std::string_view::npos;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const std::string_view two = text.substr(at, 2);
        if (two == "\r\n" || two == "\n\r") {
            out += two == "\r\n" ? "[CRLF]" : "[LFCR]";
            ++at;
        } else if (text[at] == '\n') {
            out += "[LF]";
        } else if (text[at] == '\r' && !has_line_feed) {
            out += "[CR]";
        } else {
            out += text[at];
        }
    }
}

bool holds_line_end(std::string_view text) {
    return text.find('\n') != std::string_view::npos || text.find('\r') != std::string_view::npos;
}

// Replaces the line ends of the row's values by words.
void mark_line_ends(result_row& row, const row_style& style) {
    for (std::size_t at = 0; at < row.cells().size(); ++at) {
        result_cell& cell = row.cells()[at];
        if (style.columns[at].words_alone || cell.type == result_cell::kind::number) continue;
        if (!holds_line_end(cell.value())) continue;
        const std::string text(cell.value());
        cell.type = result_cell::kind::own_text;
        cell.text.clear();
        append_marked_line_ends(cell.text, text);
    }
}

// Most separators have one byte, and many fields none.
char* put(char* at, std::string_view text) {
    if (text.size() > 1) return std::copy_n(text.data(), text.size(), at);
    if (!text.empty()) *at++ = text.front();
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
char* put_number_cell(char* at, std::uint64_t number, std::size_t width, const row_style& style, bool base16) {
    const std::size_t digits = width_left(width, hex_prefix.size());
    if (base16) return put_hex(put(at, hex_prefix), number, style.no_whitespace ? hex_digits : digits);
    char text[most_number_bytes];
    const std::size_t size = put_number(text, number, false);
    if (!style.no_whitespace) at = put_padding(at, size, digits);
    return put(at, {text, size});
}

// Bytes that the line has at most.
std::size_t most_bytes(const result_row& row, const row_style& style) {
    std::size_t most = 1;
    for (std::size_t at = 0; at < row.cells().size(); ++at) {
        const std::size_t value = std::max(row.cells()[at].value().size(), hex_prefix.size() + most_number_bytes);
        most += style.separator.size() + 1 + value + style.columns[at].width;
    }
    return most;
}

// The line up to its end; says where that is.
char* put_cells(char* at, const result_row& row, const row_style& style, bool base16) {
    const bool replaces = style.sep_char != '\0';
    std::string_view separator;
    for (std::size_t column = 0; column < row.cells().size(); ++column) {
        const result_cell& cell = row.cells()[column];
        at = put(at, separator);
        separator = style.separator;
        if (cell.led_by_blank) *at++ = ' ';
        const std::size_t width = width_left(style.columns[column].width, cell.led_by_blank ? 1 : 0);
        if (cell.type == result_cell::kind::number) {
            at = put_number_cell(at, cell.number, width, style, base16);
            continue;
        }
        const std::string_view text = cell.value();
        char* const begin = at;
        at = put(at, text);
        if (replaces && !style.columns[column].words_alone) replace_bytes(begin, at, style.sep_char, style.sep_subst);
        if (!style.no_whitespace) at = put_padding(at, text.size(), width);
    }
    return at;
}

}  // namespace

result_cell* result_row::reset_cell(int id) {
    if (id < 0 || static_cast<std::size_t>(id) >= m_cells.size()) return nullptr;
    result_cell& cell = m_cells[static_cast<std::size_t>(id)];
    cell.type = result_cell::kind::own_text;
    cell.led_by_blank = false;
    cell.text.clear();
    cell.shown = {};
    return &cell;
}

void result_row::clear() {
    for (int id = 0; reset_cell(id) != nullptr; ++id) {
    }
}

std::string& result_row::text(int id) {
    if (result_cell* const cell = reset_cell(id)) return cell->text;
    m_dropped.clear();
    return m_dropped;
}

void result_row::show_text(int id, std::string_view text) {
    show_time(id, text, false);
}

void result_row::show_time(int id, std::string_view text, bool led_by_blank) {
    result_cell* const cell = reset_cell(id);
    if (cell == nullptr) return;
    cell->type = result_cell::kind::shown_text;
    cell->shown = text;
    cell->led_by_blank = led_by_blank;
}

void result_row::set_number(int id, std::uint64_t value) {
    result_cell* const cell = reset_cell(id);
    if (cell == nullptr) return;
    cell->type = result_cell::kind::number;
    cell->number = value;
}

void write_header_line(uni::fileio_output& report_sink, row_style& style) {
    style.header_line = false;
    std::string line;
    std::string_view separator;
    for (const row_column& column : style.columns) {
        line.append(separator).append(column.title);
        if (!style.no_whitespace) append_padding(line, column.title.size(), column.width);
        separator = style.separator;
    }
    line += '\n';
    report_sink.write(line);
}

void emit_row(uni::fileio_output& report_sink, result_row& row, row_style& style, bool base16) {
    if (!row.valid()) return;
    if (style.header_line) write_header_line(report_sink, style);
    if (style.marks_line_ends) mark_line_ends(row, style);
    char* const begin = report_sink.room(most_bytes(row, style));
    char* end = put_cells(begin, row, style, base16);
    *end++ = '\n';
    report_sink.advance(static_cast<std::size_t>(end - begin));
}

}  // namespace kest
