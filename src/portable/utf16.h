#pragma once

#include <string>

#include "portable/byte_view.h"

namespace uni {

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
    const char32_t low = units.u16(at);  // reads 0 past the end, which is no low surrogate
    if (!is_surrogate(low) || low < 0xDC00) return unit;
    at += 2;
    return 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
}

}  // namespace uni
