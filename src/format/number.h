#pragma once

#include <charconv>
#include <cstdint>
#include <string>

#include "portable/byte_view.h"

namespace kest {

// A number as the report writes it. With `hex`: "0x" and upper-case digits, filled with "0" to two, four,
// six or eight digits, whichever step the value reaches. Without: plain decimal.
void append_number(std::string& out, std::uint64_t value, bool hex);
// The same, put where there is room for `most_number_bytes`; returns how many it took.
constexpr std::size_t most_number_bytes = 20;
std::size_t put_number(char* at, std::uint64_t value, bool hex);
std::string format_number(std::uint64_t value, bool hex);

// Decimal, whatever the report's base.
template <class integer>
void append_decimal(std::string& out, integer value) {
    char digits[most_number_bytes];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, value);
    out.append(digits, end);
}

// Hexadecimal digits of `value` without prefix, lower or upper case, filled with "0" to `width` digits.
void append_hex(std::string& out, std::uint64_t value, std::size_t width, bool upper_case);
// The same in lower case, put where there is room for `width` digits and for 16; returns the end.
char* put_hex(char* at, std::uint64_t value, std::size_t width);

// Two upper-case hexadecimal digits a byte, "-" between two bytes and none behind the last. Put where there is room for
// `most_dump_bytes`; returns the end.
char* put_dump(char* at, uni::byte_view bytes);
constexpr std::size_t most_dump_bytes(uni::byte_view bytes) {
    return 3 * bytes.size();
}

// Two upper-case hexadecimal digits a byte, in the bytes' order, and nothing between them.
void append_digits(std::string& out, uni::byte_view bytes);

// A GUID as it is written among people, of its 16 bytes; in lower case.
constexpr std::size_t guid_size = 16;
void append_guid(std::string& out, uni::byte_view guid);

}  // namespace kest
