#include "format/safe_text.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "format/number.h"
#include "portable/utf16.h"
#include "portable/utf8.h"

namespace kest {

namespace {

struct character_range {
    char32_t first, last;
};

// In order: characters that show nothing by themselves, or change how others are shown.
constexpr character_range shapeless[] = {
    {0x0000, 0x001F},    // control characters
    {0x007F, 0x009F},    // likewise
    {0x00AD, 0x00AD},    // soft hyphen
    {0x034F, 0x034F},    // joiner
    {0x061C, 0x061C},    // direction
    {0x115F, 0x1160},    // fillers
    {0x17B4, 0x17B5},    // vowels that are not seen
    {0x180B, 0x180F},    // variations and a separator
    {0x200B, 0x200F},    // zero width, joiners, directions
    {0x2028, 0x202E},    // line ends, directions
    {0x2060, 0x206F},    // joiners, operators that are not seen, directions
    {0x2800, 0x2800},    // a blank of Braille
    {0x3164, 0x3164},    // filler
    {0xD800, 0xDFFF},    // surrogates
    {0xFE00, 0xFE0F},    // variations
    {0xFEFF, 0xFEFF},    // zero width
    {0xFFA0, 0xFFA0},    // filler
    {0xFFF0, 0xFFFB},    // annotations
    {0x13430, 0x1343F},  // joiners of hieroglyphs
    {0x1BCA0, 0x1BCA3},  // controls of shorthand
    {0x1D173, 0x1D17A},  // controls of music
    {0xE0000, 0xE0FFF},  // tags and variations
};

bool is_shapeless(char32_t point) {
    const auto* const range = std::ranges::lower_bound(shapeless, point, {}, &character_range::last);
    return range != std::end(shapeless) && point >= range->first;
}

constexpr bool is_printable_ascii(char32_t point) {
    return point >= 0x20 && point < 0x7F;
}

constexpr bool is_separator(char32_t point) {
    return point == '\\' || point == '/' || point == ':';
}

class utf16_reader {
public:
    explicit utf16_reader(uni::byte_view units) : m_units(units.slice(0, units.size() - units.size() % 2)) {}
    bool at_end() const { return m_at >= m_units.size(); }
    char32_t next() { return uni::next_utf16_character(m_units, m_at); }

private:
    uni::byte_view m_units;
    std::size_t m_at = 0;
};

class utf8_reader {
public:
    explicit utf8_reader(std::string_view text) : m_text(text) {}
    bool at_end() const { return m_text.empty(); }
    char32_t next() {
        const std::size_t bytes = uni::utf8_character_bytes(m_text);
        const char32_t point = bytes != 0 ? uni::utf8_character(m_text, bytes)
                                          : char32_t{0xDC00} + static_cast<std::uint8_t>(m_text.front());
        m_text.remove_prefix(std::max<std::size_t>(bytes, 1));
        return point;
    }

private:
    std::string_view m_text;
};

constexpr bool is_hex_digit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

bool is_word(std::string_view between_brackets) {
    constexpr std::size_t fewest_digits = 2, most_digits = 6;
    for (const std::string_view word : {"LF", "CR", "TAB", "["}) {
        if (between_brackets == word) return true;
    }
    if (!between_brackets.starts_with("0x")) return false;
    const std::string_view digits = between_brackets.substr(2);
    return digits.size() >= fewest_digits && digits.size() <= most_digits && std::ranges::all_of(digits, is_hex_digit);
}

// Whether a word follows on the "[" that was read last.
template <class reader>
bool word_follows(reader text) {
    constexpr std::size_t longest = 8;  // 0x10FFFF
    char between[longest];
    for (std::size_t size = 0; !text.at_end(); ++size) {
        const char32_t point = text.next();
        if (point == ']') return is_word({between, size});
        if (size == longest || point >= 0x80) return false;
        between[size] = static_cast<char>(point);
    }
    return false;
}

void append_word(std::string& out, char32_t point) {
    switch (point) {
        case '\n':
            out += "[LF]";
            return;
        case '\r':
            out += "[CR]";
            return;
        case '\t':
            out += "[TAB]";
            return;
        case '[':
            out += "[[]";
            return;
        default:
            out += "[0x";
            append_hex(out, point, 2, true);
            out += ']';
    }
}

template <class reader>
bool append_safe(std::string& out, reader text, bool is_name) {
    bool marked = false;
    char plain[256];  // goes to `out` when it is full, or a word comes
    char* put = plain;
    while (!text.at_end()) {
        const char32_t point = text.next();
        const bool misleads = !is_printable_ascii(point) ? is_shapeless(point)
                              : point == '['             ? word_follows(text)
                                             : is_name && (is_separator(point) || (point == ' ' && text.at_end()));
        if (misleads) {
            out.append(plain, put);
            put = plain;
            append_word(out, point);
            marked = true;
            continue;
        }
        put = uni::put_utf8(put, point);
        if (put > plain + sizeof plain - uni::most_utf8_bytes) {
            out.append(plain, put);
            put = plain;
        }
    }
    out.append(plain, put);
    return marked;
}

// What times, paths, reasons and the notation of details are made of, and those that are in nearly all of these.
constexpr std::string_view own_marks = "-.,;\\<>()*";
constexpr std::string_view untelling = " :=[]_";  // "_" is in titles

constexpr bool is_letter_or_digit(char32_t point) {
    return (point >= '0' && point <= '9') || (point >= 'A' && point <= 'Z') || (point >= 'a' && point <= 'z');
}

}  // namespace

bool append_safe_name(std::string& out, uni::byte_view units) {
    return append_safe(out, utf16_reader(units), true);
}

bool append_safe_name(std::string& out, std::string_view text) {
    return append_safe(out, utf8_reader(text), true);
}

bool append_safe_text(std::string& out, uni::byte_view units) {
    return append_safe(out, utf16_reader(units), false);
}

bool append_safe_text(std::string& out, std::string_view text) {
    return append_safe(out, utf8_reader(text), false);
}

void append_quoted_text(std::string& out, std::string_view text) {
    for (const char c : text) {
        if (c == '"' || c == '\\') out += '\\';
        out += c;
    }
}

// One that our own text rarely holds is best.
std::optional<std::string_view> telling_character(std::string_view separator) {
    if (separator.find_first_of("\n\r\"") != separator.npos) return std::nullopt;
    std::optional<std::string_view> found;
    while (!separator.empty()) {
        const std::size_t bytes = uni::utf8_character_bytes(separator);
        if (bytes == 0) return std::nullopt;  // may be part of a character in a value
        const char32_t point = uni::utf8_character(separator, bytes);
        if (is_shapeless(point)) return std::string_view();
        const std::string_view character = separator.substr(0, bytes);
        separator.remove_prefix(bytes);
        if (is_letter_or_digit(point) || untelling.find(character) != untelling.npos) continue;
        if (own_marks.find(character) == own_marks.npos) return character;
        if (!found) found = character;
    }
    return found;
}

void append_marked_text(std::string& out, std::string_view text, std::string_view character) {
    for (std::size_t at = 0;;) {
        const std::size_t found = text.find(character, at);
        out += text.substr(at, found - at);
        if (found == text.npos) return;
        append_word(out, uni::utf8_character(character, character.size()));
        at = found + character.size();
    }
}

}  // namespace kest
