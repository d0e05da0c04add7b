#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "portable/byte_view.h"

namespace uni {

constexpr std::size_t most_utf8_bytes = 4;  // of a character

// Puts a character where there is room for `most_utf8_bytes`; returns the end.
inline char* put_utf8(char* at, char32_t point) {
    const auto tail = [&](unsigned shift) { *at++ = static_cast<char>(0x80 | ((point >> shift) & 0x3F)); };
    if (point < 0x80) {
        *at++ = static_cast<char>(point);
    } else if (point < 0x800) {
        *at++ = static_cast<char>(0xC0 | (point >> 6));
        tail(0);
    } else if (point < 0x10000) {
        *at++ = static_cast<char>(0xE0 | (point >> 12));
        tail(6);
        tail(0);
    } else {
        *at++ = static_cast<char>(0xF0 | (point >> 18));
        tail(12);
        tail(6);
        tail(0);
    }
    return at;
}

// Bytes of the character that the text begins with; 0 if that is no sound UTF-8.
std::size_t utf8_character_bytes(std::string_view text);

// That character, where there is one. `bytes` as above.
char32_t utf8_character(std::string_view text, std::size_t bytes);

// A letter of upper case as that of lower case, where both are one character, in Latin, Greek, Cyrillic, Armenian and
// full-width letters: NTFS takes these for the same in names. Other characters stay.
char32_t fold_case(char32_t point);

// The first character of a text, folded, which moves past it; U+FFFD for a byte that belongs to none.
char32_t take_folded(std::string_view& text);

// The characters of a text, folded; a byte that belongs to none becomes U+FFFD.
std::u32string folded_text(std::string_view text);

// The text, of which all is sound, as little-endian UTF-16.
std::vector<std::uint8_t> utf16_units(std::string_view text);

// Appends a counted little-endian UTF-16 string as UTF-8. The text ends at the first 0 unit or at the last
// whole unit of `units`; an unpaired surrogate becomes U+FFFD. False where either makes it another text.
bool append_utf16_text(std::string& out, byte_view units);

std::string utf16_text(byte_view units);

constexpr bool is_surrogate(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDFFF;
}

// The character at byte `at`, which moves past it. An unpaired surrogate stands for itself.
constexpr char32_t next_utf16_character(byte_view units, std::size_t& at) {
    const char32_t unit = units.u16(at);
    at += 2;
    if (!is_surrogate(unit) || unit >= 0xDC00) return unit;
    const char32_t low = units.u16(at);  // reads 0 after the end, which is no low surrogate
    if (!is_surrogate(low) || low < 0xDC00) return unit;
    at += 2;
    return 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
}

}  // namespace uni
