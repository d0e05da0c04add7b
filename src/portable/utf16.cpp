#include "portable/utf16.h"

#include "portable/utf8.h"

namespace uni {

namespace {

constexpr char32_t replacement = 0xFFFD;

}  // namespace

bool append_utf16_text(std::string& out, byte_view units) {
    const byte_view whole = units.slice(0, units.size() - units.size() % 2);
    bool same = true;
    char text[256];  // goes to `out` when it is full
    char* put = text;
    for (std::size_t at = 0; at < whole.size();) {
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
