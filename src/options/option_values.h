#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kest {

// The text with each %NAME% replaced by that environment variable. An unknown name stays as written, and so does a
// text of more than 512 bytes.
std::string expand_environment(std::string_view text);

// Reads the number of an option value, decimal or hexadecimal ("0x1F", "x1F"). Leading blanks are skipped; one that
// does not fit into 64 bits wraps. Nothing for a text that is no number.
std::optional<std::uint64_t> parse_number(std::string_view text);
// The same, but nothing for one that does not fit.
std::optional<std::uint64_t> parse_whole_number(std::string_view text);

// The bytes of a string of hexadecimal digits, two a byte; empty if it is none.
std::string parse_hex_bytes(std::string_view text);

// A time as "<date>" or "<date> <time>", the date as year, month and day with "/" or "-" between.
struct time_value {
    bool has_separator = false;          // without one the date is none
    std::optional<std::uint64_t> ticks;  // none: it is no time
};
// `missing_time` stands for the time where there is none.
time_value parse_time(std::string_view text, std::string_view missing_time);

// A time as ISO 8601 has it, "2024-03-01", "2024-03-01T10:00", "2024-03-01T10:00:00.5+02:00"; a blank is as good as the
// "T". Without "Z" or an offset it is UTC. All of the day, minute, second or fraction that it names, first and last
// tick. Nothing for a text that is no such time.
struct tick_span {
    std::uint64_t first = 0;
    std::uint64_t last = 0;
};
std::optional<tick_span> parse_iso_time(std::string_view text);

}  // namespace kest
