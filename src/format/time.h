#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace cv {

// A tick is 100 nanoseconds; a tick value counts from 1601-01-01 00:00:00 UTC (the FILETIME encoding). 0 means
// that there is no time. Everything here is UTC: the host's zone never shows in a text.
inline constexpr std::uint64_t ticks_per_second = 10'000'000;
inline constexpr std::uint64_t unix_epoch_ticks = 116'444'736'000'000'000;

// Calendar fields of a tick value. `fraction` is what is left of the second, in ticks.
struct _windows_systemtime {
    std::uint16_t year = 0;
    std::uint16_t month = 0;  // 1 to 12
    std::uint16_t day = 0;
    std::uint16_t hour = 0;
    std::uint16_t minute = 0;
    std::uint16_t second = 0;
    std::uint32_t fraction = 0;
};

// The current time, at microsecond grain.
std::uint64_t now();

double elapsed_seconds(std::uint64_t from, std::uint64_t to);

// Some values have no calendar form: 0, one with the top bit set, one before 1970 or in its first second, one from the
// year 3001 on.
bool has_calendar_form(std::uint64_t ticks);

// False, and `out` unchanged, for a value without a calendar form.
[[nodiscard]] bool ticks_to_systemtime(std::uint64_t ticks, _windows_systemtime& out);

// The inverse. The fields must be a real date and time from 1601 on.
std::uint64_t systemtime_to_ticks(const _windows_systemtime& time);

// Reads a date, three whole numbers in the order year, month, day with `separator` between them, and a time
// "hh:mm:ss", where an empty one is midnight. Nothing unless it is a real date from 1601 on.
std::optional<_windows_systemtime> parse_date_time(std::string_view date, std::string_view time, char separator);

// A date and time format, compiled to four bytes. All zero: not compiled.
struct format_flags {
    std::uint8_t separator = 0;  // between the parts of a date; 0 writes a zero byte
    std::uint8_t date = 0;       // date_bits
    std::uint8_t time = 0;       // bit 0: date and time paired; bits 1 to 4: digits of fraction
    std::uint8_t reserved = 0;

    bool compiled() const { return separator != 0 || date != 0 || time != 0 || reserved != 0; }
    unsigned fraction_digits() const { return (time >> 1) & 15U; }
    bool operator==(const format_flags&) const = default;
};

namespace date_bits {
inline constexpr std::uint8_t month_name = 1;
inline constexpr std::uint8_t month_number = 2;
inline constexpr std::uint8_t long_year = 4;
inline constexpr std::uint8_t short_year = 8;
inline constexpr std::uint8_t comma = 16;
inline constexpr std::uint8_t day_month_year = 32;
inline constexpr std::uint8_t month_day_year = 64;
inline constexpr std::uint8_t year_month_day = 128;
}  // namespace date_bits

// The same with nine digits of fraction, as columns of times have it.
constexpr format_flags with_nine_digits(format_flags flags) {
    constexpr std::uint8_t nine_digits = 9 << 1;
    constexpr std::uint8_t fraction_bits = 0x1E;
    flags.time = static_cast<std::uint8_t>((flags.time & ~fraction_bits) | nine_digits);
    return flags;
}

format_flags compile_format(std::string_view date_format, std::string_view time_format, bool pair);

// Date, one blank, time, as `flags` say; the defaults if they are not compiled. Appends nothing for a value
// without a calendar form.
void append_time(std::string& out, std::uint64_t ticks, format_flags flags);
std::string time_text(std::uint64_t ticks, format_flags flags);

// The text of one time after another, as `append_time` has it; empty for a value without a calendar form. Most lie on
// the day of the one before, many in its second, so that only the rest is made anew.
class time_texts {
public:
    explicit time_texts(format_flags flags);

    // Stands until the next call.
    std::string_view text(std::uint64_t ticks);

private:
    format_flags m_flags;
    std::uint64_t m_ticks = 0;
    std::size_t m_date_size = 0;  // of the text as far as the clock
    std::size_t m_size = 0;
    std::array<char, 40> m_text{};
};

// The same in two strings, both empty for a value without a calendar form.
void split_time_text(std::string& date_out, std::string& time_out, std::uint64_t ticks, format_flags flags);

// As RFC 3339 has it: "2026-03-16T09:11:16.1234567Z". `digits` of fraction, nine at most; seven hold the tick. Appends
// nothing for a value without a calendar form. `zone` may be another word for UTC.
void append_internet_time(std::string& out, std::uint64_t ticks, unsigned digits, std::string_view zone = "Z");

}  // namespace cv

namespace kest {

// How numbers and times are written in a report. All that a decoder needs to know of the options.
struct text_style {
    bool base16 = true;  // numbers in hexadecimal
    cv::format_flags time_format;
};

}  // namespace kest
