#include "format/result_row.h"

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

void replace_from(std::string& text, std::size_t begin, char from, char to) {
    for (std::size_t at = text.find(from, begin); at != std::string::npos; at = text.find(from, at + 1)) {
        text[at] = to;
    }
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

void mark_line_ends_from(std::string& text, std::size_t begin) {
    if (text.find('\n', begin) == std::string::npos && text.find('\r', begin) == std::string::npos) return;
    const std::string unmarked = text.substr(begin);
    text.resize(begin);
    append_marked_line_ends(text, unmarked);
}

void append_text_cell(std::string& line, const result_cell& cell, std::size_t width, const row_style& style) {
    const std::size_t begin = line.size();
    line += cell.text;
    if (style.sep_char != '\0') replace_from(line, begin, style.sep_char, style.sep_subst);
    if (style.marks_line_ends) mark_line_ends_from(line, begin);
    if (!style.no_whitespace) append_padding(line, line.size() - begin, width);
}

// Kept: a decimal number, too, is padded as if "0x" stood in front of it.
void append_number_cell(std::string& line, const result_cell& cell, std::size_t width, const row_style& style,
                        bool base16) {
    const std::size_t digits = width_left(width, hex_prefix.size());
    if (base16) {
        line += hex_prefix;
        append_hex(line, cell.number, style.no_whitespace ? hex_digits : digits, false);
        return;
    }
    const std::string text = format_number(cell.number, false);
    if (!style.no_whitespace) append_padding(line, text.size(), digits);
    line += text;
}

}  // namespace

result_cell* result_row::reset_cell(int id) {
    if (id < 0 || static_cast<std::size_t>(id) >= m_cells.size()) return nullptr;
    result_cell& cell = m_cells[static_cast<std::size_t>(id)];
    cell.type = result_cell::kind::text;
    cell.led_by_blank = false;
    cell.text.clear();
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

void result_row::set_time(int id, std::string_view text, bool led_by_blank) {
    result_cell* const cell = reset_cell(id);
    if (cell == nullptr) return;
    cell->text = text;
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
    std::string& line = row.line();
    std::string_view separator;
    for (std::size_t at = 0; at < row.cells().size(); ++at) {
        const result_cell& cell = row.cells()[at];
        line += separator;
        separator = style.separator;
        if (cell.led_by_blank) line += ' ';
        const std::size_t width = width_left(style.columns[at].width, cell.led_by_blank ? 1 : 0);
        if (cell.type == result_cell::kind::text) {
            append_text_cell(line, cell, width, style);
        } else {
            append_number_cell(line, cell, width, style, base16);
        }
    }
    line += '\n';
    report_sink.write(line);
}

}  // namespace kest
