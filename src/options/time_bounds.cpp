#include "options/time_bounds.h"

#include <limits>
#include <optional>

#include "format/time.h"

namespace kest {

namespace {

constexpr std::uint64_t latest_ticks = std::numeric_limits<std::uint64_t>::max();

struct bound_text {
    std::string_view date;
    std::string_view time;
    char separator;  // of the date; 0: none
};

// Kept: a blank with nothing behind it is a time, midnight, and not a missing one.
bound_text split_bound(std::string_view text, std::string_view missing_time) {
    const std::size_t blank = text.find(' ');
    const std::string_view date = text.substr(0, blank);
    const std::string_view time = blank == text.npos ? missing_time : text.substr(blank + 1);
    const bool slash = date.find('/') != date.npos;
    const bool dash = date.find('-') != date.npos;
    return {date, time, slash ? '/' : dash ? '-' : '\0'};
}

std::optional<std::uint64_t> read_bound(const bound_text& text) {
    const auto time = cv::parse_date_time(text.date, text.time, text.separator);
    if (!time) return std::nullopt;
    return cv::systemtime_to_ticks(*time);
}

}  // namespace

bool set_start_bound(cmd_params& options, std::string_view text) {
    options.start_bound = {};
    const bound_text parts = split_bound(text, {});
    if (parts.separator == '\0') return false;
    if (const auto ticks = read_bound(parts)) {
        options.start_bound = {true, *ticks};
        options.stop_bound = {true, latest_ticks};
    } else {
        say_value_refused(options, "invalid start time, ignoring\n");
    }
    return true;
}

bool set_stop_bound(cmd_params& options, std::string_view text) {
    options.stop_bound = {};
    const bound_text parts = split_bound(text, "23:59:59");
    if (parts.separator == '\0') return false;
    const auto ticks = read_bound(parts);
    if (ticks && (!options.start_bound.set || *ticks >= options.start_bound.ticks)) {
        options.stop_bound = {true, *ticks};
    } else {
        say_value_refused(options, "invalid stop time, ignoring\n");
    }
    return true;
}

}  // namespace kest
