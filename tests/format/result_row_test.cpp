#include "format/result_row.h"

#include <gtest/gtest.h>

#include "support/scratch_folder.h"

namespace {

using kest::result_row;
using kest::row_style;

// What a run in this style writes for one row that `fill` fills.
template <class filler>
std::string report(row_style style, filler&& fill, bool base16 = true) {
    const kest::disk::scratch_folder folder;
    uni::file file;
    if (!file.open(folder.at("report"), uni::open_mode::create_truncate)) return "not opened";
    result_row row(style.columns.size());
    fill(row);
    {
        uni::fileio_output sink(file);
        kest::emit_row(sink, row, style, base16);
    }
    return kest::disk::contents_of(folder.at("report"));
}

TEST(result_row, is_padded_and_joined_behind_one_header) {
    const auto fill = [](result_row& row) {
        row.show_time(0, "left over", true);
        row.clear();
        row.set_number(0, 0x2ABC);
        row.show_time(1, "12", true);
        row.show_text(2, "a|longer|value");
        row.show_text(3, "dropped");
        row.set_number(-1, 1);
    };
    row_style style{.columns = {{"lsn", 10}, {"time", 6}, {"a|b", 5}}};
    EXPECT_EQ(report(style, fill),
              "lsn        | time   | a|b  \n"
              "0x00002abc |  12    | a;longer;value\n");
    style.sep_char = '\0';
    style.no_whitespace = true;
    EXPECT_EQ(report(style, fill),
              "lsn | time | a|b\n"
              "0x00002abc |  12 | a|longer|value\n");
    EXPECT_EQ(report({}, fill), "");  // no columns, no report
}

TEST(result_row, kept_decimal_number_is_padded_to_two_less) {
    const auto fill = [](result_row& row) { row.set_number(0, 0x2ABC); };
    EXPECT_EQ(report({.header_line = false, .columns = {{"lsn", 10}}}, fill, false), "   10940\n");
    EXPECT_EQ(report({.no_whitespace = true, .header_line = false, .columns = {{"lsn", 0}}}, fill, false), "10940\n");
}

TEST(result_row, kept_lone_carriage_return_has_a_word_only_without_line_feeds) {
    struct row {
        const char *text, *marked;
    };
    const row rows[] = {
        {"a\r\nb\n\rc\nd", "a[CRLF]b[LFCR]c[LF]d"},
        {"\n\r\n", "[LFCR][LF]"},
        {"\r\n\r", "[CRLF]\r"},
        {"\r\r\n", "\r[CRLF]"},
        {"a\rb\r", "a[CR]b[CR]"},
        {"~\n~", "-[LF]-"},
    };
    for (const row& t : rows) {
        const auto fill = [&t](result_row& row) { row.show_text(0, t.text); };
        row_style style{.sep_char = '~', .sep_subst = '-', .header_line = false, .columns = {{"text", 30}}};
        style.marks_line_ends = true;
        const std::string marked = t.marked;
        EXPECT_EQ(report(style, fill), marked + std::string(30 - marked.size(), ' ') + '\n');
        style.marks_line_ends = false;
        EXPECT_EQ(report(style, fill).find('['), std::string::npos);
    }
}

}  // namespace
