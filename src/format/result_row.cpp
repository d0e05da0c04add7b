#include "format/result_row.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

#include "format/number.h"
#include "format/put_text.h"
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

constexpr char quote = '"';

constexpr std::uint64_t each_byte = 0x0101'0101'0101'0101;

// The highest bit of the lowest byte that is 0, and maybe bits above that; 0 if there is none.
constexpr std::uint64_t zero_bytes(std::uint64_t bytes) {
    return (bytes - each_byte) & ~bytes & 0x80 * each_byte;
}

// Whether the text has one of the bytes, each of which `words` has eight times. A short text is looked through by
// words.
bool holds_any(std::string_view text, std::string_view bytes, const std::array<std::uint64_t, 4>& words) {
    constexpr std::size_t longest_by_words = 64;
    std::uint64_t at_hand = 0, found = 0;
    const auto look_at = [&] {
        for (const std::uint64_t byte : words)
            found |= zero_bytes(at_hand ^ byte);
    };
    if (text.size() > longest_by_words) {
        return std::ranges::any_of(bytes, [text](char byte) { return text.find(byte) != text.npos; });
    }
    if (text.size() < sizeof at_hand) {
        char padded[sizeof at_hand] = {};  // by a byte that nobody looks for
        put_text(padded, text);
        std::memcpy(&at_hand, padded, sizeof at_hand);
        look_at();
    } else {
        for (std::size_t at = 0; at + sizeof at_hand < text.size(); at += sizeof at_hand) {
            std::memcpy(&at_hand, text.data() + at, sizeof at_hand);
            look_at();
        }
        std::memcpy(&at_hand, text.data() + text.size() - sizeof at_hand, sizeof at_hand);
        look_at();
    }
    return found != 0;
}

// Each quote twice, and not those around the text; needs room for twice the text and a byte. Goes from quote to quote,
// eight bytes at most, without a branch that depends on where quotes come, as nobody foresees that.
char* put_doubled(char* at, std::string_view text) {
    constexpr std::size_t most = sizeof(std::uint64_t);
    for (std::uint64_t bytes = 0; text.size() >= most;) {
        std::memcpy(&bytes, text.data(), most);
        const std::uint64_t quotes = zero_bytes(bytes ^ each_byte * static_cast<std::uint8_t>(quote));
        const std::size_t comes = quotes != 0 ? 1 : 0;
        const std::size_t taken = static_cast<std::size_t>(std::countr_zero(quotes)) / 8 + comes;
        std::memcpy(at, &bytes, most);
        at[taken] = quote;
        at += taken + comes;
        text.remove_prefix(taken);
    }
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

}  // namespace

row_writer::row_writer(uni::fileio_output& report_sink, const row_style& style, bool base16,
                       std::vector<row_column> columns)
    : m_sink(report_sink),
      m_style(style),
      m_base16(base16),
      m_packed(style.separator.size() == 1 && style.no_whitespace),
      m_header_due(style.has_titles),
      m_columns(std::move(columns)) {
    // Each character of a separator: of several the first could be taken for it at a value's end.
    for (const char c : style.separator + "\"\r\n")
        m_quoted_bytes[static_cast<std::uint8_t>(c)] = true;
    if (!style.quotes && std::ranges::any_of(m_columns, &row_column::marks_separator))
        m_separating = separating_character(style.separator).value_or("");
    m_separators.fill(m_packed ? style.separator[0] : '\0');
    for (row_column& column : m_columns) {
        if (style.no_whitespace) column.width = 0;
        m_besides += style.separator.size() + column.width;
        const bool may_hold_any = !column.words_only && !style.quotes;
        column_form& form = m_forms.emplace_back();
        form.width = column.width;
        form.marks_separator = column.marks_separator && !m_separating.empty();
        form.marks_line_ends = may_hold_any && style.marks_line_ends;
        form.replaces_separator = style.sep_char != '\0' && !column.words_only && !column.marks_separator;
        set_held_out(form);
    }
}

void row_writer::set_held_out(column_form& form) const {
    std::string& bytes = form.held_out;
    if (m_style.quotes) bytes += quote + m_style.separator;
    if (m_style.quotes || form.marks_line_ends) bytes += "\n\r";
    if (form.marks_separator) bytes += m_separating.front();
    if (form.replaces_separator && bytes.find(m_style.sep_char) == bytes.npos) bytes += m_style.sep_char;
    form.searched = !bytes.empty();
    form.always_changed = bytes.size() > form.held_out_words.size();
    if (!form.searched || form.always_changed) return;
    for (std::size_t at = 0; at < form.held_out_words.size(); ++at)
        form.held_out_words[at] = each_byte * static_cast<std::uint8_t>(bytes[at % bytes.size()]);
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

void row_writer::begin_line() {
    write_header();
    m_next = 0;
    m_begin = m_at = nullptr;
    if (m_line_begun) m_sink.write("\n");
    m_line_begun = false;
    make_room(0);
}

void row_writer::end_line() {
    pass_over(m_forms.size());
    m_at -= m_style.separator.size();
    *m_at++ = '\n';
    hand_over(true);
}

void row_writer::make_room(std::size_t most) {
    constexpr std::size_t usual_line = 4096;
    hand_over(false);
    most += m_besides + usual_line;
    m_begin = m_at = m_sink.room(most);
    m_end = m_begin + most;
}

void row_writer::hand_over(bool line_ended) {
    m_line_begun = !line_ended && (m_line_begun || m_at != m_begin);
    m_sink.advance(static_cast<std::size_t>(m_at - m_begin));
    m_begin = m_at = m_end = nullptr;
}

// Goes to the column, and leaves room for `most` bytes of its value, and for what stands around it.
inline char* row_writer::begin_value(std::size_t column, std::size_t most) {
    if (m_besides + most > static_cast<std::size_t>(m_end - m_at)) make_room(most);
    if (m_next != column) pass_over(column);
    return m_at;
}

// Pads the value of the column at hand, and goes to the next one.
inline void row_writer::end_value(const char* begin, char* end) {
    const auto written = static_cast<std::size_t>(end - begin);
    m_at = m_packed ? end : put_padding(end, written, m_forms[m_next].width);
    put_separator();
}

inline void row_writer::put_separator() {
    const std::string& separator = m_style.separator;
    ++m_next;
    if (m_packed) {
        *m_at++ = separator[0];
    } else {
        m_at = std::copy(separator.begin(), separator.end(), m_at);
    }
}

inline void row_writer::pass_over(std::size_t column) {
    if (m_packed) {
        const std::size_t count = column - m_next;
        for (std::size_t put = 0; put < count; put += m_separators.size())
            std::memcpy(m_at + put, m_separators.data(), m_separators.size());
        m_at += count;
        m_next = column;
    }
    while (m_next < column)
        end_value(m_at, m_at);
}

void row_writer::number(std::size_t column, std::uint64_t value) {
    char* const begin = begin_value(column, most_number_bytes);
    end_value(begin, begin + put_number(begin, value, m_base16));
}

void row_writer::wide_number(std::size_t column, std::uint64_t value) {
    char* const begin = begin_value(column, hex_prefix.size() + most_number_bytes);
    m_at = put_wide_number(begin, value, m_forms[column].width);
    put_separator();
}

// Kept: a decimal number, too, is padded as if "0x" stood in front of it.
char* row_writer::put_wide_number(char* at, std::uint64_t number, std::size_t width) const {
    const std::size_t digits = width_left(width, hex_prefix.size());
    if (m_base16) return put_hex(put_text(at, hex_prefix), number, m_style.no_whitespace ? hex_digits : digits);
    char text[most_number_bytes];
    const std::size_t size = put_number(text, number, false);
    if (!m_style.no_whitespace) at = put_padding(at, size, digits);
    return std::copy_n(text, size, at);
}

void row_writer::put_value(std::size_t column, std::string_view value, bool led_by_blank) {
    const column_form& form = m_forms[column];
    if (value.size() > most_in_place ||
        (form.searched && (form.always_changed || holds_any(value, form.held_out, form.held_out_words))))
        return put_changed(column, value, led_by_blank);
    char* const begin = begin_value(column, 1 + value.size());
    char* at = begin;
    if (led_by_blank) *at++ = ' ';
    end_value(begin, put_text(at, value));
}

// The same for a value that may hold what has to be kept out of it, or is long. A long one is quoted unsearched.
[[gnu::noinline]] void row_writer::put_changed(std::size_t column, std::string_view value, bool led_by_blank) {
    const column_form& form = m_forms[column];
    const bool quoted = m_style.quotes && (value.size() > most_in_place || needs_quotes(value));
    value = marked(form, value);
    const bool wide = value.size() > most_in_place;
    constexpr std::size_t quotes = 2;
    char* const begin = begin_value(column, 1 + (wide ? 0 : (quoted ? 2 * value.size() + quotes : value.size())));
    char* at = begin;
    if (led_by_blank) *at++ = ' ';
    if (!quoted && !wide) {
        char* const end = put_text(at, value);
        if (form.replaces_separator) replace_bytes(at, end, m_style.sep_char, m_style.sep_subst);
        return end_value(begin, end);
    }
    m_at = at;
    if (wide) {
        hand_over(false);
        m_line_begun = true;
        quoted ? write_quoted(value) : write_wide_text(form, value);
        make_room(0);
    } else {
        *m_at++ = quote;
        m_at = put_doubled(m_at, value);
        *m_at++ = quote;
    }
    put_separator();
}

// The value with what separates fields as a word, and its line ends, unless it is so long that they are replaced piece
// by piece. Few values hold either, and most are short or empty: a single byte is looked for first.
std::string_view row_writer::marked(const column_form& form, std::string_view value) {
    if (form.marks_separator && value.find(m_separating.front()) != value.npos &&
        value.find(m_separating) != value.npos) {
        std::string text;
        append_marked_text(text, value, m_separating);
        m_marked = std::move(text);
        value = m_marked;
    }
    if (!form.marks_line_ends || value.size() > most_in_place || !holds_line_end(value)) return value;
    std::string text;
    append_marked(text, value, 0, marks_lone_returns(value), std::string::npos);
    m_marked = std::move(text);
    return m_marked;
}

// Takes no memory in proportion to the text.
void row_writer::write_wide_text(const column_form& form, std::string_view text) {
    const bool lone_returns = marks_lone_returns(text);
    std::string piece;
    for (std::size_t at = 0; at < text.size();) {
        piece.clear();
        if (form.marks_line_ends) {
            at = append_marked(piece, text, at, lone_returns, most_in_place);
        } else {
            piece = text.substr(at, most_in_place);
            at += piece.size();
        }
        if (form.replaces_separator) {
            replace_bytes(piece.data(), piece.data() + piece.size(), m_style.sep_char, m_style.sep_subst);
        }
        m_sink.write(piece);
    }
}

void row_writer::write_quoted(std::string_view text) {
    m_sink.write({&quote, 1});
    for (; !text.empty(); text.remove_prefix(std::min(text.size(), most_in_place))) {
        const std::string_view piece = text.substr(0, most_in_place);
        char* const begin = m_sink.room(2 * piece.size() + 1);
        m_sink.advance(static_cast<std::size_t>(put_doubled(begin, piece) - begin));
    }
    m_sink.write({&quote, 1});
}

bool row_writer::needs_quotes(std::string_view text) const {
    return std::ranges::any_of(text, [this](char c) { return m_quoted_bytes[static_cast<std::uint8_t>(c)]; });
}

std::string line_ends_as_words(std::string_view text) {
    std::string marked;
    append_marked(marked, text, 0, true, std::string::npos);
    return marked;
}

}  // namespace kest
