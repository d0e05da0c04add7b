#include "format/time.h"

#include <chrono>
#include <gtest/gtest.h>

namespace {

using namespace std::string_literals;

constexpr std::uint64_t second = 10'000'000;
constexpr std::uint64_t sample = 130'000'000'000'000'001;  // 2012-12-14 23:06:40 and a tick

std::string sample_text(std::string_view date_format, std::string_view time_format) {
    return cv::time_text(sample, cv::compile_format(date_format, time_format, true));
}

TEST(time, has_a_text_from_1970_to_3000) {
    const std::uint64_t end = 441'796'896'000'000'000;  // 3001-01-01
    EXPECT_EQ(cv::time_text(end - 1, {}), "3000-12-31 23:59:59.999");
    for (const std::uint64_t none :
         {std::uint64_t{0}, std::uint64_t{1}, end, std::uint64_t{1} << 63, ~std::uint64_t{0}})
        EXPECT_EQ(cv::time_text(none, {}), "") << none;
    EXPECT_EQ(cv::time_text(cv::now(), {}).size(), 23u);
}

TEST(time, kept_first_second_of_1970_has_no_text) {
    const std::uint64_t epoch = 116'444'736'000'000'000;
    EXPECT_EQ(cv::time_text(epoch + second - 1, {}), "");
    EXPECT_EQ(cv::time_text(epoch + second, {}), "1970-01-01 00:00:01.000");
}

TEST(time, knows_every_day) {
    using namespace std::chrono;
    std::uint64_t ticks = 116'444'736'000'000'000 + 12'345'678'901;
    for (sys_days at = 1970y / 1 / 1; at < sys_days{3001y / 1 / 1}; at += days{1}, ticks += 86'400 * second) {
        const year_month_day date(at);
        cv::_windows_systemtime time;
        ASSERT_TRUE(cv::ticks_to_systemtime(ticks, time));
        ASSERT_EQ(year{time.year} / time.month / time.day, date) << ticks;
        ASSERT_EQ(cv::systemtime_to_ticks(time), ticks);
    }
}

TEST(time, kept_formats_of_no_use_among_those_that_say_how_it_is_written) {
    const std::tuple<const char*, const char*, std::string> rows[] = {
        {"yyyy-mm-dd", "hh:mm:ss.xxx", "2012-12-14 23:06:40.000"},
        {"mm/dd/yyyy", "hh:mm:ss", "12/14/2012 23:06:40"},
        {"dd/mm/yy", "xxxxxxx", "14/12/2012 23:06:40.0000001"},
        {"dd mmm yyyy", "xxxxxx", "14 Dec 2012 23:06:40.000000"},
        {"mmm dd, yy", "xxxxxxxx", "Dec 14 2012 23:06:40.00000010"},
        {"yyyy/mm-dd", "xxxxxxxxxxxx", "2012/12/14 23:06:40.000000100"},
        {"yyyymmdd", "xxx x", "2012\00012\00014 23:06:40.00000"s},
        {"", "xxxx", " 23:06:40.0000"},
        {"", "", " 23:06:40"},                    // paired, so compiled
        {"yyyy-mmm-dd", "xxx", " 23:06:40.000"},  // no month by name after the year
        {"yyyy-dd-mm", "xxx", " 23:06:40"},       // an unusable date takes the fraction with it
        {"yyyy-mm", "xxx", " 23:06:40"},
        {"mm-dd", "xxx", " 23:06:40"},
        {"yyyy-dd", "xxx", " 23:06:40"},
        {"-", "xxx", " 23:06:40"},
        {"yyyy-mm-dd", "hh:mm:ss.xx", "2012-12-14 23:06:40"},  // one or two x are no fraction
    };
    for (const auto& [date_format, time_format, text] : rows)
        EXPECT_EQ(sample_text(date_format, time_format), text) << date_format;

    EXPECT_FALSE(cv::compile_format("d", "xxx", false).compiled());
    std::string date = "left over", time;
    cv::split_time_text(date, time, sample, {});
    EXPECT_EQ(date + '|' + time, "2012-12-14|23:06:40.000");
    cv::split_time_text(date, time, 0, {});
    EXPECT_EQ(date + time, "");
}

TEST(time, is_read_if_it_is_a_real_one) {
    const std::tuple<const char*, const char*, std::optional<std::string>> rows[] = {
        {"2012-12-14", "23:06:40", "2012-12-14 23:06:40.000"},
        {"2000-2-29", "", "2000-02-29 00:00:00.000"},
        {"1601-01-01", "", ""},
        {"1600-12-31", "", std::nullopt},
        {"2000-02-30", "", std::nullopt},
        {"1900-02-29", "", std::nullopt},
        {"2012-01-00", "", std::nullopt},
        {"2012-13-01", "", std::nullopt},
        {"67536-01-01", "", std::nullopt},
        {"2012-01-01-01", "", std::nullopt},
        {"2012-01-01", "24:00:00", std::nullopt},
        {"2012-01-01", "23:00", std::nullopt},
        {"2012-01-01", "23:x:00", std::nullopt},
        {"2012-01-01", "23:00:00.5", std::nullopt},
    };
    for (const auto& [date, clock, text] : rows) {
        const auto time = cv::parse_date_time(date, clock, '-');
        EXPECT_EQ(time ? std::optional(cv::time_text(cv::systemtime_to_ticks(*time), {})) : std::nullopt, text)
            << date << ' ' << clock;
    }
    EXPECT_EQ(cv::systemtime_to_ticks(*cv::parse_date_time("2012-12-14", "23:06:40", '-')), 130'000'000'000'000'000);
}

}  // namespace
