#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kest {

// Reads the number of an option value, decimal or hexadecimal ("0x1F", "x1F"). Leading blanks are skipped; one that
// does not fit into 64 bits wraps. Nothing for a text that is no number.
std::optional<std::uint64_t> parse_number(std::string_view text);

// The bytes of a string of hexadecimal digits, two a byte; empty if it is none.
std::string parse_hex_bytes(std::string_view text);

}  // namespace kest
