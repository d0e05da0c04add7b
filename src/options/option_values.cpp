#include "options/option_values.h"

#include <algorithm>

#include "format/time.h"
#include "portable/host.h"

namespace kest {

namespace {

constexpr std::size_t longest_template = 512;  // bytes

// Longest texts, in characters, with what stands before the digits.
constexpr std::size_t longest_number = 31;
constexpr std::size_t longest_decimal = 20;
constexpr std::size_t longest_octal = 23;
constexpr std::size_t most_hex_digits = 16;

// 16 for what is no digit.
unsigned digit_value(char c) {
    if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
    if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a') + 10;
    if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A') + 10;
    return 16;
}

std::optional<std::uint64_t> read_digits(std::string_view digits, unsigned base) {
    if (digits.empty()) return std::nullopt;
    std::uint64_t value = 0;
    for (const char c : digits) {
        const unsigned digit = digit_value(c);
        if (digit >= base) return std::nullopt;
        value = value * base + digit;
    }
    return value;
}

// "0" in the shape is any digit.
bool has_shape(std::string_view text, std::string_view shape) {
    return std::ranges::equal(text, shape, [](char c, char s) { return s == '0' ? digit_value(c) < 10 : c == s; });
}

// Minutes to subtract from a time of this zone for UTC: "Z", "+02", "-0330", "+05:45". Nothing if it is none.
std::optional<std::int64_t> read_zone(std::string_view zone) {
    if (zone.empty() || zone == "Z" || zone == "z") return 0;
    const std::string_view clock = zone.substr(1);
    if (!has_shape(clock, "00") && !has_shape(clock, "0000") && !has_shape(clock, "00:00")) return std::nullopt;
    const auto hours = read_digits(clock.substr(0, 2), 10);
    const auto minutes = clock.size() == 2 ? 0 : read_digits(clock.substr(clock.size() - 2), 10);
    if (!hours || !minutes || *hours > 23 || *minutes > 59) return std::nullopt;
    const auto distance = static_cast<std::int64_t>(60 * *hours + *minutes);
    return zone.front() == '-' ? -distance : distance;
}

constexpr std::uint64_t ticks_per_minute = 60 * cv::ticks_per_second;

// A clock as text for `parse_date_time`, what follows its seconds, and how many ticks it names.
struct clock_text {
    std::string text;
    std::uint64_t fraction = 0;  // ticks
    std::uint64_t unit = 0;
};
std::optional<clock_text> read_clock(std::string_view clock) {
    if (has_shape(clock, "00:00")) return clock_text{std::string(clock) + ":00", 0, ticks_per_minute};
    if (!has_shape(clock.substr(0, 8), "00:00:00")) return std::nullopt;
    clock_text read{std::string(clock.substr(0, 8)), 0, cv::ticks_per_second};
    const std::string_view fraction = clock.substr(8);
    if (fraction.empty()) return read;
    if ((fraction[0] != '.' && fraction[0] != ',') || fraction.size() < 2 || fraction.size() > 10) return std::nullopt;
    for (const char c : fraction.substr(1)) {
        if (digit_value(c) > 9) return std::nullopt;
        if (read.unit > 1) read.fraction += digit_value(c) * (read.unit / 10);
        read.unit = std::max<std::uint64_t>(read.unit / 10, 1);  // the seventh digit is the tick
    }
    return read;
}

std::optional<std::uint64_t> read_hex(std::string_view digits) {
    return digits.size() <= most_hex_digits ? read_digits(digits, 16) : std::nullopt;
}

}  // namespace

std::string expand_environment(std::string_view text) {
    if (text.size() > longest_template) return std::string(text);
    std::string expanded;
    while (!text.empty()) {
        const std::size_t open = text.find('%');
        const std::size_t close = open == text.npos ? text.npos : text.find('%', open + 1);
        if (close == text.npos) break;
        const std::string name(text.substr(open + 1, close - open - 1));
        const auto value = uni::environment_value(name);
        if (value) {
            expanded.append(text.substr(0, open)).append(*value);
        } else {
            expanded.append(text.substr(0, close + 1));
        }
        text.remove_prefix(close + 1);
    }
    return expanded.append(text);
}

std::optional<std::uint64_t> parse_number(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    if (text.empty() || text.size() > longest_number) return std::nullopt;
    if (text.size() > 2) {
        if (text[1] == 'x' || text[1] == 'X') return read_hex(text.substr(2));
        if (text[0] == 'x' || text[0] == 'X') return read_hex(text.substr(1));
    }
    if (text[0] == 'o' || text[0] == 'O') {
        // Kept: what is marked as octal is read as hexadecimal. Scripts that write "o" have always been read so.
        return text.size() <= longest_octal ? read_digits(text.substr(1), 16) : std::nullopt;
    }
    return text.size() <= longest_decimal ? read_digits(text, 10) : std::nullopt;
}

std::optional<std::uint64_t> parse_whole_number(std::string_view text) {
    const auto number = parse_number(text);
    const std::string_view digits = text.substr(std::min(text.find_first_not_of(" 0"), text.size()));
    const bool decimal = std::ranges::all_of(digits, [](char c) { return digit_value(c) < 10; });
    if (number && decimal && !digits.empty() && std::to_string(*number) != digits) return std::nullopt;
    return number;
}

std::string parse_hex_bytes(std::string_view text) {
    std::string bytes;
    if (text.size() % 2 != 0) return bytes;
    for (std::size_t at = 0; at < text.size(); at += 2) {
        const std::optional<std::uint64_t> byte = read_digits(text.substr(at, 2), 16);
        if (!byte) return {};
        bytes += static_cast<char>(*byte);
    }
    return bytes;
}

// Kept: a blank with nothing after it is a time, midnight, and not a missing one.
time_value parse_time(std::string_view text, std::string_view missing_time) {
    const std::size_t blank = text.find(' ');
    const std::string_view date = text.substr(0, blank);
    const std::string_view time = blank == text.npos ? missing_time : text.substr(blank + 1);
    const bool slash = date.find('/') != date.npos;
    if (!slash && date.find('-') == date.npos) return {};
    const auto parsed = cv::parse_date_time(date, time, slash ? '/' : '-');
    return {true, parsed ? std::optional(cv::systemtime_to_ticks(*parsed)) : std::nullopt};
}

std::optional<tick_span> parse_iso_time(std::string_view text) {
    constexpr std::string_view date_shape = "0000-00-00";
    const std::string_view date = text.substr(0, date_shape.size());
    if (!has_shape(date, date_shape)) return std::nullopt;
    text.remove_prefix(date.size());
    clock_text clock{{}, 0, 24 * 60 * ticks_per_minute};
    std::string_view zone;
    if (!text.empty()) {
        if (text[0] != 'T' && text[0] != 't' && text[0] != ' ') return std::nullopt;
        text.remove_prefix(1);
        const std::size_t end = std::min(text.find_first_of("Zz+-"), text.size());
        const auto read = read_clock(text.substr(0, end));
        if (!read) return std::nullopt;
        clock = *read;
        zone = text.substr(end);
    }
    const auto parsed = cv::parse_date_time(date, clock.text, '-');
    const auto zone_minutes = read_zone(zone);
    if (!parsed || !zone_minutes) return std::nullopt;
    const auto ticks = static_cast<std::int64_t>(cv::systemtime_to_ticks(*parsed) + clock.fraction) -
                       *zone_minutes * static_cast<std::int64_t>(ticks_per_minute);
    if (ticks < 0) return std::nullopt;  // before 1601
    const auto first = static_cast<std::uint64_t>(ticks);
    return tick_span{first, first + clock.unit - 1};
}

}  // namespace kest
