#include "format/number.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstring>

namespace kest {

namespace {

// The two digits of every byte value, side by side.
using digit_pairs = std::array<char, 512>;

constexpr digit_pairs pairs_of(const char* digits) {
    digit_pairs pairs{};
    for (std::size_t value = 0; value < 256; ++value) {
        pairs[2 * value] = digits[value >> 4];
        pairs[2 * value + 1] = digits[value & 15];
    }
    return pairs;
}

constexpr digit_pairs upper_pairs = pairs_of("0123456789ABCDEF");
constexpr digit_pairs lower_pairs = pairs_of("0123456789abcdef");

// Kept: the steps lie at 0xFF and not at 0x100, so 0xFF itself takes four digits. Examiners compare reports
// of different years digit by digit.
constexpr std::size_t number_width(std::uint64_t value) {
    if (value < 0xFF) return 2;
    if (value < 0xFFFF) return 4;
    if (value < 0xFFFFFF) return 6;
    return 8;
}

constexpr std::size_t most_digits = 16;

// Writes hexadecimal digits, filled with "0" to `width`, which is at most `most_digits`; says how many.
std::size_t put_digits(char* out, std::uint64_t value, std::size_t width, const digit_pairs& pairs) {
    const std::size_t size = std::max(width, (static_cast<std::size_t>(std::bit_width(value | 1)) + 3) / 4);
    std::size_t at = size;
    for (; at >= 2; value >>= 8) {
        at -= 2;
        std::memcpy(out + at, pairs.data() + 2 * (value & 0xFF), 2);
    }
    if (at != 0) out[0] = pairs[2 * (value & 0xFF) + 1];
    return size;
}

}  // namespace

void append_hex(std::string& out, std::uint64_t value, std::size_t width, bool upper_case) {
    const digit_pairs& pairs = upper_case ? upper_pairs : lower_pairs;
    char digits[most_digits];
    const std::size_t size = put_digits(digits, value, std::min(width, most_digits), pairs);
    if (width > size) out.append(width - size, '0');
    out.append(digits, size);
}

char* put_hex(char* at, std::uint64_t value, std::size_t width) {
    for (; width > most_digits; --width)
        *at++ = '0';
    return at + put_digits(at, value, width, lower_pairs);
}

std::size_t put_number(char* at, std::uint64_t value, bool hex) {
    if (!hex) return static_cast<std::size_t>(std::to_chars(at, at + most_number_bytes, value).ptr - at);
    at[0] = '0';
    at[1] = 'x';
    if (value < 0xFF) {  // most are small
        std::memcpy(at + 2, upper_pairs.data() + 2 * value, 2);
        return 4;
    }
    return 2 + put_digits(at + 2, value, number_width(value), upper_pairs);
}

void append_number(std::string& out, std::uint64_t value, bool hex) {
    char text[most_number_bytes];
    out.append(text, put_number(text, value, hex));
}

std::string format_number(std::uint64_t value, bool hex) {
    std::string text;
    append_number(text, value, hex);
    return text;
}

char* put_dump(char* at, uni::byte_view bytes) {
    for (const std::uint8_t value : bytes.bytes()) {
        at = std::copy_n(upper_pairs.data() + std::size_t{value} * 2, 2, at);
        *at++ = '-';
    }
    return bytes.empty() ? at : at - 1;
}

void append_digits(std::string& out, uni::byte_view bytes) {
    for (const std::uint8_t value : bytes.bytes())
        out.append(upper_pairs.data() + std::size_t{value} * 2, 2);
}

void append_guid(std::string& out, uni::byte_view guid) {
    append_hex(out, guid.u32(0), 8, false);
    out += '-';
    append_hex(out, guid.u16(4), 4, false);
    out += '-';
    append_hex(out, guid.u16(6), 4, false);
    for (std::size_t at = 8; at < guid_size; ++at) {
        if (at == 8 || at == 10) out += '-';
        append_hex(out, guid.u8(at), 2, false);
    }
}

}  // namespace kest
