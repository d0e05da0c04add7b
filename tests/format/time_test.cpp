#include "format/time.h"

#include <gtest/gtest.h>

namespace {

using namespace std::string_literals;

constexpr std::uint64_t second = 10'000'000;
constexpr std::uint64_t day = 86'400 * second;
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

// Steps through every day by the rule for leap years.
TEST(time, knows_every_day) {
    std::uint64_t ticks = 116'444'736'000'000'000 + 12'345'678'901;
    for (unsigned year = 1970; year <= 3000; ++year) {
        const bool leap = year % 400 == 0 || (year % 4 == 0 && year % 100 != 0);
        for (unsigned month = 1; month <= 12; ++month) {
            const unsigned days = month == 2                                              ? (leap ? 29 : 28)
                                  : month == 4 || month == 6 || month == 9 || month == 11 ? 30
                                                                                          : 31;
            for (unsigned d = 1; d <= days; ++d, ticks += day) {
                cv::_windows_systemtime time;
                ASSERT_TRUE(cv::ticks_to_systemtime(ticks, time));
                ASSERT_TRUE(time.year == year && time.month == month && time.day == d)
                    << year << '-' << month << '-' << d;
                ASSERT_EQ(cv::systemtime_to_ticks(time), ticks);
            }
        }
    }
}

TEST(time, is_written_as_its_format_says) {
    struct row {
        const char *date_format, *time_format;
        std::string text;
    };
    const row rows[] = {
        {"yyyy-mm-dd", "hh:mm:ss.xxx", "2012-12-14 23:06:40.000"},
        {"mm/dd/yyyy", "hh:mm:ss", "12/14/2012 23:06:40"},
        {"dd/mm/yy", "xxxxxxx", "14/12/2012 23:06:40.0000001"},
        {"dd mmm yyyy", "xxxxxx", "14 Dec 2012 23:06:40.000000"},
        {"mmm dd, yy", "xxxxxxxx", "Dec 14 2012 23:06:40.00000010"},
        {"yyyy/mm-dd", "xxxxxxxxxxxx", "2012/12/14 23:06:40.000000100"},
        {"yyyymmdd", "xxx x", "2012\00012\00014 23:06:40.00000"s},
        {"", "xxxx", " 23:06:40.0000"},
        {"", "", " 23:06:40"},  // paired, so compiled
    };
    for (const row& t : rows)
        EXPECT_EQ(sample_text(t.date_format, t.time_format), t.text) << t.date_format;

    EXPECT_FALSE(cv::compile_format("d", "xxx", false).compiled());
    std::string date = "left over";
    std::string time;
    cv::split_time_text(date, time, sample, {});
    EXPECT_EQ(date + '|' + time, "2012-12-14|23:06:40.000");
    cv::split_time_text(date, time, 0, {});
    EXPECT_EQ(date + time, "");
}

TEST(time, kept_month_by_name_has_no_form_with_the_year_first) {
    EXPECT_EQ(sample_text("yyyy-mmm-dd", "xxx"), " 23:06:40.000");
}

TEST(time, kept_unusable_date_format_takes_the_fraction_with_it) {
    for (const char* format : {"yyyy-dd-mm", "yyyy-mm", "mm-dd", "yyyy-dd", "-"})
        EXPECT_EQ(sample_text(format, "xxx"), " 23:06:40") << format;
}

TEST(time, kept_one_or_two_x_are_no_fraction) {
    EXPECT_EQ(sample_text("yyyy-mm-dd", "hh:mm:ss.xx"), "2012-12-14 23:06:40");
}

TEST(time, is_read_if_it_is_a_real_one) {
    struct row {
        const char *date, *time;
        const char* text;  // null: not read
    };
    const row rows[] = {
        {"2012-12-14", "23:06:40", "2012-12-14 23:06:40.000"},
        {"2000-2-29", "", "2000-02-29 00:00:00.000"},
        {"1601-01-01", "", ""},
        {"1600-12-31", "", nullptr},
        {"1900-02-29", "", nullptr},
        {"2012-01-00", "", nullptr},
        {"2012-13-01", "", nullptr},
        {"67536-01-01", "", nullptr},
        {"2012-01-01-01", "", nullptr},
        {"2012-01-01", "24:00:00", nullptr},
        {"2012-01-01", "23:00", nullptr},
        {"2012-01-01", "23:00:00.5", nullptr},
    };
    for (const row& t : rows) {
        SCOPED_TRACE(testing::Message() << t.date << ' ' << t.time);
        const auto time = cv::parse_date_time(t.date, t.time, '-');
        ASSERT_EQ(time.has_value(), t.text != nullptr);
        if (!time) continue;
        EXPECT_EQ(cv::time_text(cv::systemtime_to_ticks(*time), {}), t.text);
    }
}

}  // namespace
