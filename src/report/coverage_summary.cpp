#include "report/coverage_summary.h"

#include <algorithm>

#include "format/number.h"
#include "format/time.h"

namespace kest {

namespace {

constexpr std::size_t date_length = 10;                 // "2026-03-16"
constexpr std::size_t minute_length = date_length + 6;  // "2026-03-16T09:11"

std::string minute_text(std::uint64_t ticks) {
    std::string text;
    cv::append_internet_time(text, ticks, 0);
    text.resize(minute_length);
    text[date_length] = ' ';
    return text;
}

struct time_unit {
    std::uint64_t seconds;
    std::string_view word;
};
constexpr time_unit units[] = {{31'557'600, "year"}, {86'400, "day"}, {3600, "hour"}, {60, "minute"}};

// In the largest unit of which there are two, so that little is lost by rounding.
std::string duration_text(std::uint64_t from, std::uint64_t until) {
    const std::uint64_t seconds = (until - from) / cv::ticks_per_second;
    const auto fits = [seconds](const time_unit& unit) { return seconds >= 2 * unit.seconds; };
    const time_unit* unit = std::ranges::find_if(units, fits);
    if (unit == std::end(units)) return seconds < 60 ? "less than a minute" : "about 1 minute";
    const std::uint64_t count = (seconds + unit->seconds / 2) / unit->seconds;
    return "about " + format_number(count, false).append(1, ' ').append(unit->word).append(1, 's');
}

value_range covered_times(const log_coverage& coverage) {
    value_range all = coverage.journal_times;
    if (!coverage.record_times.any) return all;
    all.add(coverage.record_times.lowest);
    all.add(coverage.record_times.highest);
    return all;
}

void append_times(std::string& out, const log_coverage& coverage) {
    if (coverage.records_stored == 0) {
        out += "The log has no record";
    } else if (const value_range times = covered_times(coverage); !times.any) {
        out += "The log states no time";
    } else {
        const std::string begin = minute_text(times.lowest), end = minute_text(times.highest);
        const bool same_date = begin.compare(0, date_length, end, 0, date_length) == 0;
        out.append("The log covers ");
        if (begin == end) out += "less than a minute at ";
        out += begin;
        if (begin != end) out.append(" to ").append(same_date ? end.substr(date_length + 1) : end);
        out += " UTC";
    }
}

void append_gaps(std::string& out, const log_coverage& coverage) {
    if (coverage.records_stored == 0) return;
    if (!coverage.gaps) {
        out += "; whether it has gaps is unknown";
        return;
    }
    const std::size_t count = coverage.gaps->size();
    if (count == 0) {
        out += ", without a gap";
        return;
    }
    const gap_coverage* longest = nullptr;
    bool all_timed = true;
    const auto length = [](const gap_coverage& gap) { return gap.time_after - gap.time_before; };
    for (const gap_coverage& gap : *coverage.gaps) {
        if (gap.time_before == 0 || gap.time_after < gap.time_before) {
            all_timed = false;
        } else if (longest == nullptr || length(gap) > length(*longest)) {
            longest = &gap;
        }
    }
    out += count == 1 ? ", with one gap" : ", with " + format_number(count, false) + " gaps";
    if (longest == nullptr) {
        out += " of unknown length";
        return;
    }
    out += count == 1 ? " of " : all_timed ? ", the longest of " : ", the longest known one of ";
    out += duration_text(longest->time_before, longest->time_after);
}

template <class input_fit>
void append_fit(std::string& out, std::string_view input, const input_fit& fit) {
    const std::string words = fit_text(fit);
    if (contradicts(fit)) {
        out.append("; the ").append(input).append(" does not fit: ").append(words);
    } else if (words.empty()) {
        out.append("; whether the ").append(input).append(" fits is unknown");
    } else {
        out.append("; the ").append(input).append(" fits");
    }
}

void append_journal(std::string& out, const log_coverage& coverage) {
    append_fit(out, "journal", coverage.journal->fit);
    const value_range &times = coverage.journal->times, of_log = covered_times(coverage);
    if (contradicts(coverage.journal->fit) || !times.any || !of_log.any) return;
    const auto [from, until] = std::minmax(times.lowest, of_log.lowest);
    out.append(" and begins ").append(duration_text(from, until));
    out += times.lowest < of_log.lowest ? " earlier" : " later";
}

}  // namespace

std::string coverage_summary(const log_coverage& coverage) {
    std::string out;
    append_times(out, coverage);
    append_gaps(out, coverage);
    if (!coverage.read_to_end) out += "; it could not be read to its end";
    if (coverage.mft) append_fit(out, "MFT", coverage.mft->fit);
    if (coverage.journal) append_journal(out, coverage);
    return out += '.';
}

}  // namespace kest
