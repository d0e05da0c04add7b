#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "portable/file.h"

namespace kest {

// What a report line looks like, whatever its columns.
struct row_style {
    std::string separator = " | ";
    char sep_char = '|';  // replaced by `sep_subst` inside values; 0: none
    char sep_subst = ';';
    bool no_whitespace = false;    // no field is padded
    bool marks_line_ends = false;  // line ends inside values are written as words
    bool titles = true;            // stand before the first line
    bool quotes = false;           // as RFC 4180: values stand between quotes where needed, and nothing is replaced
};

struct row_column {
    std::string title;
    std::size_t width = 0;         // bytes
    bool words_only = false;       // words of ours and numbers, which hold neither separator nor line end
    bool marks_separator = false;  // what separates fields becomes a word in a value, and is not replaced
};

// One field of a line.
struct result_cell {
    enum class kind : std::uint8_t { own_text, shown_text, number, wide_number };

    kind type = kind::shown_text;
    bool led_by_blank = false;  // one blank before the value, which is part of the field's width
    std::string text;
    std::string_view shown;
    std::uint64_t number = 0;

    std::string_view value() const { return type == kind::own_text ? std::string_view(text) : shown; }
    bool is_number() const { return type == kind::number || type == kind::wide_number; }
};

// A report line as cells, by column.
class result_row {
public:
    explicit result_row(std::size_t columns) : m_cells(columns) {}

    std::span<const result_cell> cells() const { return m_cells; }
    std::span<result_cell> cells() { return m_cells; }

    void clear();  // every cell an empty text; strings keep their capacity

    // The cell's text, emptied, to append to.
    std::string& text(std::size_t column);
    // Texts that are not copied: they stand until the row has been emitted.
    void show_text(std::size_t column, std::string_view text);
    void show_time(std::size_t column, std::string_view text, bool led_by_blank);
    void set_number(std::size_t column, std::uint64_t value) { set(column, result_cell::kind::number, value); }
    // One of many digits: where lines are padded it fills its column.
    void set_wide_number(std::size_t column, std::uint64_t value) {
        set(column, result_cell::kind::wide_number, value);
    }

private:
    void set(std::size_t column, result_cell::kind type, std::uint64_t value);

    std::vector<result_cell> m_cells;
};

// A text in which every line end is a word.
std::string line_ends_as_words(std::string_view text);

// Writes rows of one set of columns, with a line of titles before the first.
class row_writer {
public:
    // The style must outlive the writer. With `base16` number cells are hexadecimal.
    row_writer(uni::fileio_output& report_sink, const row_style& style, bool base16, std::vector<row_column> columns);

    // A row for these columns, to be filled and emitted as often as one likes.
    result_row new_row() const { return result_row(m_columns.size()); }

    // Writes the titles, unless they have been written.
    void write_header();
    // Writes one line, after the titles. Afterwards the row may be cleared only.
    void emit_row(result_row& row);

private:
    std::string shown_title(const row_column& column) const;
    // Says whether it wrote the line: with `wants_marks`, not where a value may hold a line end.
    bool put_line(const result_row& row, bool wants_marks);
    void mark_line_ends(result_row& row) const;
    void mark_separators(result_row& row) const;
    bool replaces(std::size_t column) const {
        return m_style.sep_char != '\0' && !m_columns[column].words_only && !m_columns[column].marks_separator;
    }
    std::size_t most_bytes(const result_row& row, std::size_t first, std::size_t last) const;
    char* put_cells(char* at, const result_row& row, std::size_t first, std::size_t last) const;
    bool needs_quotes(std::string_view text) const;
    void write_wide_row(const result_row& row);
    void write_wide_quoted(std::string_view text);
    void write_wide_text(std::string_view text, std::size_t column);

    uni::fileio_output& m_sink;
    const row_style& m_style;
    bool m_base16;
    std::string
        m_separating;  // the character of the separator that values do not hold; none if none has to be kept out
    bool m_header_due;
    std::array<bool, 256> m_quoted_bytes = {};  // a value with one of these stands between quotes
    std::vector<row_column> m_columns;
};

}  // namespace kest
