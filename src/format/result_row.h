#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "portable/file.h"

namespace kest {

// What a report line looks like.
struct row_column {
    std::string title;
    std::size_t width = 0;     // bytes
    bool words_alone = false;  // words of ours and numbers, which hold neither separator nor line end
};

struct row_style {
    std::string separator = " | ";
    char sep_char = '|';  // replaced by `sep_subst` inside values; 0: none
    char sep_subst = ';';
    bool no_whitespace = false;    // no field is padded
    bool marks_line_ends = false;  // line ends inside values are written as words
    bool header_line = true;       // still to be written
    std::vector<row_column> columns = {};
};

// One field of a line.
struct result_cell {
    enum class kind : std::uint8_t { own_text, shown_text, number };

    kind type = kind::own_text;
    bool led_by_blank = false;  // one blank before the value, which is part of the field's width
    std::string text;
    std::string_view shown;
    std::uint64_t number = 0;

    std::string_view value() const { return type == kind::own_text ? std::string_view(text) : shown; }
};

// A report line as cells. What is written under an identifier without a cell is dropped.
class result_row {
public:
    explicit result_row(std::size_t columns) : m_cells(columns) {}

    bool valid() const { return !m_cells.empty(); }
    std::span<const result_cell> cells() const { return m_cells; }
    std::span<result_cell> cells() { return m_cells; }

    void clear();  // every cell an empty text; strings keep their capacity

    // The cell's text, emptied, to append to; a scratch string where there is no such cell.
    std::string& text(int id);
    // Texts that are not copied: they stand until the row has been emitted.
    void show_text(int id, std::string_view text);
    void show_time(int id, std::string_view text, bool led_by_blank);
    void set_number(int id, std::uint64_t value);

private:
    // The cell as an empty text, or null for an identifier without a cell.
    result_cell* reset_cell(int id);

    std::vector<result_cell> m_cells;
    std::string m_dropped;
};

// Writes the titles, once: clears `header_line`.
void write_header_line(uni::fileio_output& report_sink, row_style& style);

// Writes one line, and the header line ahead of it if that is still due. Nothing for a row without columns; a row
// that has some has those of `style`. Afterwards the row may be cleared only.
void emit_row(uni::fileio_output& report_sink, result_row& row, row_style& style, bool base16);

}  // namespace kest
