#include "portable/unicode.h"

#include <cstring>

namespace uni {

std::size_t utf8_character_bytes(std::string_view text) {
    const auto byte = [text](std::size_t at) { return at < text.size() ? static_cast<std::uint8_t>(text[at]) : 0U; };
    const auto goes_on = [&byte](std::size_t at) { return (byte(at) & 0xC0U) == 0x80U; };
    const unsigned first = byte(0);
    if (first < 0x80) return text.empty() ? 0 : 1;
    if (first >= 0xC2 && first <= 0xDF) return goes_on(1) ? 2 : 0;
    if (first >= 0xE0 && first <= 0xEF) {
        const unsigned lowest = first == 0xE0 ? 0xA0 : 0x80;   // not what two bytes can say
        const unsigned highest = first == 0xED ? 0x9F : 0xBF;  // no surrogate
        return byte(1) >= lowest && byte(1) <= highest && goes_on(2) ? 3 : 0;
    }
    if (first >= 0xF0 && first <= 0xF4) {
        const unsigned lowest = first == 0xF0 ? 0x90 : 0x80;
        const unsigned highest = first == 0xF4 ? 0x8F : 0xBF;
        return byte(1) >= lowest && byte(1) <= highest && goes_on(2) && goes_on(3) ? 4 : 0;
    }
    return 0;
}

char32_t utf8_character(std::string_view text, std::size_t bytes) {
    if (bytes == 1) return static_cast<std::uint8_t>(text[0]);
    char32_t point = static_cast<std::uint8_t>(text[0]) & (0x7FU >> bytes);
    for (std::size_t at = 1; at < bytes; ++at)
        point = point << 6 | (static_cast<std::uint8_t>(text[at]) & 0x3FU);
    return point;
}

namespace {

constexpr char32_t replacement = 0xFFFD;

}  // namespace

char32_t take_folded(std::string_view& text) {
    const std::size_t bytes = utf8_character_bytes(text);
    const char32_t folded = bytes == 0 ? replacement : fold_case(utf8_character(text, bytes));
    text.remove_prefix(bytes == 0 ? 1 : bytes);
    return folded;
}

std::u32string folded_text(std::string_view text) {
    std::u32string folded;
    folded.reserve(text.size());
    while (!text.empty())
        folded += take_folded(text);
    return folded;
}

std::vector<std::uint8_t> utf16_units(std::string_view text) {
    std::vector<std::uint8_t> units;
    const auto add = [&units](char32_t unit) {
        units.push_back(static_cast<std::uint8_t>(unit & 0xFF));
        units.push_back(static_cast<std::uint8_t>(unit >> 8));
    };
    while (const std::size_t bytes = utf8_character_bytes(text)) {
        const char32_t point = utf8_character(text, bytes);
        text.remove_prefix(bytes);
        if (point < 0x10000) {
            add(point);
        } else {
            add(0xD800 + ((point - 0x10000) >> 10));
            add(0xDC00 + (point & 0x3FF));
        }
    }
    return units;
}

namespace {

// Whether four units are characters of ASCII, none of them 0.
constexpr bool are_ascii(std::uint64_t units) {
    constexpr std::uint64_t top_bits = 0x8000'8000'8000'8000;
    return (units & 0xFF80'FF80'FF80'FF80) == 0 &&
           ((units + (top_bits - 0x0001'0001'0001'0001)) & top_bits) == top_bits;
}

// Puts the low bytes of four units.
char* put_low_bytes(char* at, std::uint64_t units) {
    units |= units >> 8;
    units = (units & 0xFFFF) | (units >> 16 & 0xFFFF'0000);
    const auto bytes = static_cast<std::uint32_t>(units);
    std::memcpy(at, &bytes, sizeof bytes);
    return at + sizeof bytes;
}

}  // namespace

bool append_utf16_text(std::string& out, byte_view units) {
    const byte_view whole = units.slice(0, units.size() - units.size() % 2);
    bool same = true;
    char text[256];  // goes to `out` when it is full
    char* put = text;
    for (std::size_t at = 0; at < whole.size();) {
        if (const std::uint64_t four = whole.u64(at); are_ascii(four)) {  // reads 0 where fewer are left
            put = put_low_bytes(put, four);
            at += sizeof four;
            if (put > text + sizeof text - most_utf8_bytes) {
                out.append(text, put);
                put = text;
            }
            continue;
        }
        char32_t point = next_utf16_character(whole, at);
        if (point == 0) {
            same = false;
            break;
        }
        if (is_surrogate(point)) {
            point = replacement;
            same = false;
        }
        put = put_utf8(put, point);
        if (put > text + sizeof text - most_utf8_bytes) {
            out.append(text, put);
            put = text;
        }
    }
    out.append(text, put);
    return same;
}

std::string utf16_text(byte_view units) {
    std::string text;
    append_utf16_text(text, units);
    return text;
}

}  // namespace uni
