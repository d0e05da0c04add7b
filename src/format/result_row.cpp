#include "format/result_row.h"

#include <algorithm>
#include <utility>

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

constexpr std::size_t long_text = 16;  // bytes; from here on a library search is cheaper than a look at each byte

bool holds_any(std::string_view text, char separator, bool line_ends) {
    const auto ends_line = [](char c) { return c == '\n' || c == '\r'; };
    if (text.size() < long_text) {
        return std::any_of(text.begin(), text.end(), [&](char c) {
            return (c == separator && separator != '\0') || (line_ends && ends_line(c));
        });
    }
    const auto holds = [text](char c) { return text.find(c) != std::string_view::npos; };
    return (separator != '\0' && holds(separator)) || (line_ends && (holds('\n') || holds('\r')));
}

// Replaces what would be taken for the end of the field or of the line.
void clean_text(result_cell& cell, const row_style& style) {
    if (!holds_any(cell.value(), style.sep_char, style.marks_line_ends)) return;
    std::string text(cell.value());
    if (style.sep_char != '\0') std::replace(text.begin(), text.end(), style.sep_char, style.sep_subst);
    cell.type = result_cell::kind::own_text;
    cell.text.clear();
    if (style.marks_line_ends) {
        append_marked_line_ends(cell.text, text);
    } else {
        cell.text = std::move(text);
    }
}

char* put(char* at, std::string_view text) {
    return std::copy_n(text.data(), text.size(), at);
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
    for (result_cell& cell : row.cells()) {
        if (cell.type != result_cell::kind::number) clean_text(cell, style);
    }
    char* const begin = report_sink.room(most_bytes(row, style));
    char* end = begin;
    std::string_view separator;
    for (std::size_t at = 0; at < row.cells().size(); ++at) {
        const result_cell& cell = row.cells()[at];
        end = put(end, separator);
        separator = style.separator;
        if (cell.led_by_blank) *end++ = ' ';
        const std::size_t width = width_left(style.columns[at].width, cell.led_by_blank ? 1 : 0);
        if (cell.type == result_cell::kind::number) {
            end = put_number_cell(end, cell.number, width, style, base16);
        } else {
            end = put(end, cell.value());
            if (!style.no_whitespace) end = put_padding(end, cell.value().size(), width);
        }
    }
    *end++ = '\n';
    report_sink.advance(static_cast<std::size_t>(end - begin));
}

}  // namespace kest
