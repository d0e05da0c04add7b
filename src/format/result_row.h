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
    bool has_titles = true;        // they stand before the first row
    bool quotes = false;           // as RFC 4180: values stand between quotes where needed, and nothing is replaced
};

struct row_column {
    std::string title;
    std::size_t width = 0;         // bytes
    bool words_only = false;       // words of ours and numbers, which hold neither separator nor line end
    bool marks_separator = false;  // what separates fields becomes a word in a value, and is not replaced
};

// A text in which every line end is a word.
std::string line_ends_as_words(std::string_view text);

// Writes rows of one set of columns, with a line of titles before the first.
class row_writer {
public:
    // The style must outlive the writer. With `base16` number cells are hexadecimal.
    row_writer(uni::fileio_output& report_sink, const row_style& style, bool base16, std::vector<row_column> columns);

    std::size_t columns() const { return m_columns.size(); }

    // Writes the titles, unless they have been written.
    void write_header();
    // A line, after the titles: its values in the order of their columns. A column without one is empty. What there is
    // of a line that was not ended is dropped, or ended where some of it was written.
    void begin_line();
    void text(std::size_t column, std::string_view value) {
        if (!value.empty()) put_value(column, value, false);
    }
    // Where lines are padded one blank leads it, which is part of the field's width.
    void time(std::size_t column, std::string_view value) {
        if (!value.empty()) put_value(column, value, !m_style.no_whitespace);
    }
    void number(std::size_t column, std::uint64_t value);
    // One of many digits: where lines are padded it fills its column.
    void wide_number(std::size_t column, std::uint64_t value);
    void end_line();

private:
    // A column as its values are written.
    struct column_form {
        std::size_t width = 0;
        bool marks_separator = false;
        bool marks_line_ends = false;
        bool replaces_separator = false;
        bool searched = false;        // a value may hold bytes for which it cannot stand as it is
        bool always_changed = false;  // likewise, and they are more than are looked for at once
        std::string held_out = {};    // these bytes
        std::array<std::uint64_t, 4> held_out_words = {};
    };

    std::string shown_title(const row_column& column) const;
    void put_value(std::size_t column, std::string_view value, bool led_by_blank);
    void put_changed(std::size_t column, std::string_view value, bool led_by_blank);
    void set_held_out(column_form& form) const;
    char* begin_value(std::size_t column, std::size_t most);
    void end_value(const char* begin, char* end);
    void put_separator();
    void pass_over(std::size_t column);
    void make_room(std::size_t most);
    void hand_over(bool line_ended);
    char* put_wide_number(char* at, std::uint64_t number, std::size_t width) const;
    std::string_view marked(const column_form& form, std::string_view value);
    bool needs_quotes(std::string_view text) const;
    void write_quoted(std::string_view text);
    void write_wide_text(const column_form& form, std::string_view text);

    uni::fileio_output& m_sink;
    const row_style& m_style;
    bool m_base16;
    std::string
        m_separating;     // the character of the separator that values do not hold; none if none has to be kept out
    const bool m_packed;  // a field takes its value and a separator of one byte
    bool m_header_due;
    bool m_line_begun = false;                  // and some of it was written
    std::array<bool, 256> m_quoted_bytes = {};  // a value with one of these stands between quotes
    std::vector<row_column> m_columns;
    std::vector<column_form> m_forms;
    std::array<char, 8> m_separators = {};            // of packed lines
    std::size_t m_besides = 1 + sizeof m_separators;  // bytes of a line besides its values, at most
    std::size_t m_next = 0;                           // the column after the last value; a separator stands before it
    char* m_begin = nullptr;                          // of what the sink does not know of yet
    char* m_at = nullptr;                             // its end
    char* m_end = nullptr;                            // of the room for it
    std::string m_marked;                             // a value with words in place of line ends or separators
};

}  // namespace kest
