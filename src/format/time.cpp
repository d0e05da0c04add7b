#include "format/time.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <utility>

namespace cv {

namespace {

constexpr std::uint64_t seconds_per_day = 86'400;
constexpr std::uint64_t ticks_per_day = ticks_per_second * seconds_per_day;

constexpr std::uint16_t first_year = 1601;        // that of tick 0
constexpr std::uint16_t last_tick_year = 30'827;  // the last whole one before the top bit is set

// Years are counted from 1 March 1600, so that a leap day is the last day of its year, of its four years and of
// its four centuries.
constexpr std::uint64_t epoch_year = 1600;
constexpr std::uint64_t epoch_days = 306;  // from there to tick 0
constexpr std::uint64_t days_per_4_years = 1461;
constexpr std::uint64_t days_per_4_centuries = 146'097;

constexpr format_flags default_format = {
    .separator = '-',
    .date = date_bits::month_number | date_bits::long_year | date_bits::year_month_day,
    .time = 1 | 3 << 1,  // paired, three digits of fraction
};

constexpr format_flags internet_format(unsigned digits) {
    return {.separator = '-',
            .date = date_bits::month_number | date_bits::long_year | date_bits::year_month_day,
            .time = static_cast<std::uint8_t>(digits << 1)};
}

constexpr std::string_view month_names[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// Fills year, month and day from days since tick 0.
void set_date(_windows_systemtime& out, std::uint64_t days) {
    const std::uint64_t in_4_centuries = 4 * (days + epoch_days) + 3;
    const std::uint64_t century = in_4_centuries / days_per_4_centuries;
    const std::uint64_t in_4_years = in_4_centuries % days_per_4_centuries / 4 * 4 + 3;
    const std::uint64_t year = in_4_years / days_per_4_years;
    const std::uint64_t day_of_year = in_4_years % days_per_4_years / 4;
    const std::uint64_t month = (5 * day_of_year + 2) / 153;  // from March; five months in a row have 153 days
    const bool next_year = month >= 10;
    out.year = static_cast<std::uint16_t>(epoch_year + 100 * century + year + (next_year ? 1 : 0));
    out.month = static_cast<std::uint16_t>(next_year ? month - 9 : month + 3);
    out.day = static_cast<std::uint16_t>(day_of_year - (153 * month + 2) / 5 + 1);
}

void set_clock(_windows_systemtime& out, std::uint64_t ticks) {
    const auto seconds = static_cast<std::uint32_t>(ticks / ticks_per_second % seconds_per_day);
    out.hour = static_cast<std::uint16_t>(seconds / 3600);
    out.minute = static_cast<std::uint16_t>(seconds / 60 % 60);
    out.second = static_cast<std::uint16_t>(seconds % 60);
    out.fraction = static_cast<std::uint32_t>(ticks % ticks_per_second);
}

// Days since tick 0.
constexpr std::uint64_t days_of(const _windows_systemtime& time) {
    const bool after_leap_day = time.month > 2;
    const std::uint64_t year = time.year - epoch_year - (after_leap_day ? 0 : 1);
    const std::uint64_t month = after_leap_day ? time.month - 3U : time.month + 9U;
    return 365 * year + year / 4 - year / 100 + year / 400 + (153 * month + 2) / 5 + time.day - 1 - epoch_days;
}

// Kept: the first second of 1970 has no calendar form, since its count of seconds is that of no time.
constexpr std::uint64_t first_ticks = unix_epoch_ticks + ticks_per_second;
constexpr std::uint64_t end_ticks = days_of({.year = 3001, .month = 1, .day = 1}) * ticks_per_day;
static_assert(days_of({.year = 1970, .month = 1, .day = 1}) * ticks_per_day == unix_epoch_ticks);

bool is_leap_year(unsigned year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

unsigned days_of_month(unsigned year, unsigned month) {
    constexpr unsigned days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && is_leap_year(year) ? 29 : days[month - 1];
}

// Splits `text` at `separator` into whole numbers; false unless there are three.
bool read_three(std::string_view text, char separator, std::array<std::uint16_t, 3>& out) {
    const char* at = text.data();
    const char* const end = at + text.size();
    for (std::size_t part = 0; part < out.size(); ++part) {
        if (part != 0) {
            if (at == end || *at != separator) return false;
            ++at;
        }
        const auto [end_of_number, error] = std::from_chars(at, end, out[part]);
        if (error != std::errc{}) return false;
        at = end_of_number;
    }
    return at == end;
}

// A date and time being put together: at most "dd-mmm-yyyy hh:mm:ss.nnnnnnnnn". Copied to its string in one go.
class short_text {
public:
    void operator+=(char c) { m_bytes[m_size++] = c; }
    void operator+=(std::string_view text) { append(text.data(), text.size()); }
    void append(const char* text, std::size_t size) {
        std::copy_n(text, size, m_bytes.begin() + static_cast<std::ptrdiff_t>(m_size));
        m_size += size;
    }
    std::string_view view() const { return {m_bytes.data(), m_size}; }

private:
    std::array<char, 40> m_bytes;
    std::size_t m_size = 0;
};

void append_two(short_text& out, unsigned value) {
    const char digits[] = {static_cast<char>('0' + value / 10), static_cast<char>('0' + value % 10)};
    out.append(digits, sizeof digits);
}

void append_year(short_text& out, unsigned year) {
    append_two(out, year / 100);
    append_two(out, year % 100);
}

// Kept: the month by name has no form with the year first, so such a date is empty.
void append_date(short_text& out, const _windows_systemtime& time, format_flags flags) {
    const bool number = (flags.date & date_bits::month_number) != 0;
    const char separator = static_cast<char>(flags.separator);
    const auto append_month = [&] {
        if (number) {
            append_two(out, time.month);
        } else {
            out += month_names[time.month - 1];
        }
    };
    if ((flags.date & date_bits::month_day_year) != 0) {
        append_month();
        out += separator;
        append_two(out, time.day);
        out += separator;
        append_year(out, time.year);
    } else if ((flags.date & date_bits::day_month_year) != 0) {
        append_two(out, time.day);
        out += separator;
        append_month();
        out += separator;
        append_year(out, time.year);
    } else if ((flags.date & date_bits::year_month_day) != 0 && number) {
        append_year(out, time.year);
        out += separator;
        append_two(out, time.month);
        out += separator;
        append_two(out, time.day);
    }
}

constexpr unsigned most_fraction_digits = 9;

void append_fraction(short_text& out, std::uint32_t ticks, unsigned digits) {
    char text[] = ".000000000";  // a tick is the seventh digit: the last two are always 0
    for (std::size_t at = 7; at > 0; --at, ticks /= 10) {
        text[at] = static_cast<char>('0' + ticks % 10);
    }
    out.append(text, 1 + std::min(digits, most_fraction_digits));
}

void append_clock(short_text& out, const _windows_systemtime& time, format_flags flags) {
    append_two(out, time.hour);
    out += ':';
    append_two(out, time.minute);
    out += ':';
    append_two(out, time.second);
    if (flags.fraction_digits() != 0) append_fraction(out, time.fraction, flags.fraction_digits());
}

void append_date_and_clock(std::string& out, std::uint64_t ticks, format_flags flags, char joint,
                           std::string_view zone) {
    _windows_systemtime time;
    if (!ticks_to_systemtime(ticks, time)) return;
    short_text text;
    append_date(text, time, flags);
    text += joint;
    append_clock(text, time, flags);
    text += zone;
    out += text.view();
}

// Sets separator and date; false if the format lacks a part or has an order of its own, with what was found so far
// set.
bool compile_date(std::string_view format, format_flags& flags) {
    constexpr std::size_t none = std::string_view::npos;
    for (const char separator : {'/', '-', ' '}) {
        if (format.find(separator) == none) continue;
        flags.separator = static_cast<std::uint8_t>(separator);
        break;
    }
    const auto look_for = [&](std::string_view letters, std::uint8_t bit) {
        const std::size_t found = format.find(letters);
        if (found != none) flags.date |= bit;
        return found;
    };
    std::size_t month = look_for("mmm", date_bits::month_name);
    if (month == none) month = look_for("mm", date_bits::month_number);
    if (month == none) return false;
    std::size_t year = look_for("yyyy", date_bits::long_year);
    if (year == none) year = look_for("yy", date_bits::short_year);
    if (year == none) return false;
    look_for(",", date_bits::comma);
    const std::size_t day = format.find("dd");
    if (day == none) return false;
    if (day < month && month < year) {
        flags.date |= date_bits::day_month_year;
    } else if (month < day && day < year) {
        flags.date |= date_bits::month_day_year;
    } else if (year < month && month < day) {
        flags.date |= date_bits::year_month_day;
    } else {
        return false;
    }
    return true;
}

// Kept: only the digits of fraction come from the time format, and one or two "x" count as none.
void compile_time(std::string_view format, format_flags& flags) {
    const std::size_t first = format.find("xxx");
    if (first == std::string_view::npos) return;
    const std::size_t digits = std::min<std::size_t>(format.rfind('x') - first + 1, 9);
    flags.time |= static_cast<std::uint8_t>(digits << 1);
}

}  // namespace

std::uint64_t now() {
    using microseconds = std::chrono::duration<std::uint64_t, std::micro>;
    const auto since_epoch = std::chrono::system_clock::now().time_since_epoch();
    return unix_epoch_ticks + 10 * std::chrono::duration_cast<microseconds>(since_epoch).count();
}

double elapsed_seconds(std::uint64_t from, std::uint64_t to) {
    return static_cast<double>(static_cast<std::int64_t>(to - from)) / static_cast<double>(ticks_per_second);
}

bool has_calendar_form(std::uint64_t ticks) {
    return ticks >= first_ticks && ticks < end_ticks;
}

bool ticks_to_systemtime(std::uint64_t ticks, _windows_systemtime& out) {
    if (!has_calendar_form(ticks)) return false;
    set_date(out, ticks / ticks_per_day);
    set_clock(out, ticks);
    return true;
}

std::uint64_t systemtime_to_ticks(const _windows_systemtime& time) {
    const std::uint64_t seconds = days_of(time) * seconds_per_day + time.hour * 3600U + time.minute * 60U + time.second;
    return seconds * ticks_per_second + time.fraction;
}

std::optional<_windows_systemtime> parse_date_time(std::string_view date, std::string_view time, char separator) {
    std::array<std::uint16_t, 3> day{};
    std::array<std::uint16_t, 3> clock{};
    if (!read_three(date, separator, day)) return std::nullopt;
    if (!time.empty() && !read_three(time, ':', clock)) return std::nullopt;
    if (day[0] < first_year || day[0] > last_tick_year || day[1] < 1 || day[1] > 12) return std::nullopt;
    if (day[2] < 1 || day[2] > days_of_month(day[0], day[1])) return std::nullopt;
    if (clock[0] > 23 || clock[1] > 59 || clock[2] > 59) return std::nullopt;
    return _windows_systemtime{
        .year = day[0], .month = day[1], .day = day[2], .hour = clock[0], .minute = clock[1], .second = clock[2]};
}

format_flags compile_format(std::string_view date_format, std::string_view time_format, bool pair) {
    format_flags flags;
    if (pair) flags.time = 1;
    // Kept: a date format that cannot be used takes the time format with it.
    if (date_format.empty() || compile_date(date_format, flags)) compile_time(time_format, flags);
    return flags;
}

void append_time(std::string& out, std::uint64_t ticks, format_flags flags) {
    append_date_and_clock(out, ticks, flags.compiled() ? flags : default_format, ' ', {});
}

void append_internet_time(std::string& out, std::uint64_t ticks, unsigned digits, std::string_view zone) {
    append_date_and_clock(out, ticks, internet_format(digits), 'T', zone);
}

time_texts::time_texts(format_flags flags) : m_flags(flags.compiled() ? flags : default_format) {}

std::string_view time_texts::text(std::uint64_t ticks) {
    const std::uint64_t before = std::exchange(m_ticks, ticks);
    if (ticks == before) return {m_text.data(), m_size};
    short_text text;
    std::size_t at = 0;  // what is made anew
    if (ticks / ticks_per_second == before / ticks_per_second && m_size != 0) {
        if (m_flags.fraction_digits() == 0) return {m_text.data(), m_size};
        append_fraction(text, static_cast<std::uint32_t>(ticks % ticks_per_second), m_flags.fraction_digits());
        at = m_size - text.view().size();
    } else if (ticks / ticks_per_day == before / ticks_per_day && m_size != 0 && has_calendar_form(ticks)) {
        _windows_systemtime time;
        set_clock(time, ticks);
        append_clock(text, time, m_flags);
        at = m_date_size;
    } else if (_windows_systemtime time; ticks_to_systemtime(ticks, time)) {
        append_date(text, time, m_flags);
        text += ' ';
        m_date_size = text.view().size();
        append_clock(text, time, m_flags);
    }
    m_size = at + text.view().copy(m_text.data() + at, m_text.size() - at);
    return {m_text.data(), m_size};
}

std::string time_text(std::uint64_t ticks, format_flags flags) {
    std::string text;
    append_time(text, ticks, flags);
    return text;
}

void split_time_text(std::string& date_out, std::string& time_out, std::uint64_t ticks, format_flags flags) {
    date_out.clear();
    time_out.clear();
    _windows_systemtime time;
    if (!ticks_to_systemtime(ticks, time)) return;
    if (!flags.compiled()) flags = default_format;
    short_text date;
    append_date(date, time, flags);
    date_out = date.view();
    short_text clock;
    append_clock(clock, time, flags);
    time_out = clock.view();
}

}  // namespace cv
