#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

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

// The text, of which all is sound, as little-endian UTF-16.
std::vector<std::uint8_t> utf16_units(std::string_view text);

}  // namespace uni
