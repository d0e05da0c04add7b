#include "portable/utf16.h"

namespace uni {

namespace {

constexpr char32_t replacement = 0xFFFD;

constexpr bool is_high_surrogate(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

constexpr bool is_low_surrogate(char32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

constexpr std::size_t most_bytes = 4;  // of a character in UTF-8

char* put_utf8(char* at, char32_t point) {
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

}  // namespace

void append_utf16_text(std::string& out, byte_view units) {
    const std::size_t end = units.size() - units.size() % 2;
    char text[256];  // goes to `out` when it is full
    char* put = text;
    for (std::size_t at = 0; at < end; at += 2) {
        char32_t point = units.u16(at);
        if (point == 0) break;
        if (is_high_surrogate(point)) {
            const char32_t low = units.u16(at + 2);  // reads 0 behind the end, which is no low surrogate
            if (is_low_surrogate(low)) {
                point = 0x10000 + ((point - 0xD800) << 10) + (low - 0xDC00);
                at += 2;
            } else {
                point = replacement;
            }
        } else if (is_low_surrogate(point)) {
            point = replacement;
        }
        put = put_utf8(put, point);
        if (put > text + sizeof text - most_bytes) {
            out.append(text, put);
            put = text;
        }
    }
    out.append(text, put);
}

std::string utf16_text(byte_view units) {
    std::string text;
    append_utf16_text(text, units);
    return text;
}

}  // namespace uni
