#include "format/result_row.h"

#include <gtest/gtest.h>

#include "format/number.h"
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

TEST(result_row, kept_decimal_number_is_padded_to_two_less) {
    const auto fill = [](result_row& row) { row.set_number(0, 0x2ABC); };
    EXPECT_EQ(report({.header_line = false, .columns = {{"lsn", 10}}}, fill, false), "   10940\n");
    EXPECT_EQ(report({.no_whitespace = true, .header_line = false, .columns = {{"lsn", 0}}}, fill, false), "10940\n");
}

TEST(result_row, kept_lone_carriage_return_has_a_word_only_without_line_feeds) {
    const std::pair<const char*, std::string> rows[] = {
        {"a\r\nb\n\rc\nd", "a[CRLF]b[LFCR]c[LF]d"},
        {"\n\r\n", "[LFCR][LF]"},
        {"\r\n\r", "[CRLF]\r"},
        {"\r\r\n", "\r[CRLF]"},
        {"a\rb\r", "a[CR]b[CR]"},
        {"~\n~", "-[LF]-"},
    };
    for (const auto& [text, marked] : rows) {
        const auto fill = [shown = text](result_row& row) { row.show_text(0, shown); };
        row_style style{.sep_char = '~', .sep_subst = '-', .header_line = false, .columns = {{"text", 30}}};
        style.marks_line_ends = true;
        EXPECT_EQ(report(style, fill), marked + std::string(30 - marked.size(), ' ') + '\n');
        style.marks_line_ends = false;
        EXPECT_EQ(report(style, fill).find('['), std::string::npos);
    }
}

TEST(number, kept_width_steps_lie_at_ff) {
    const std::pair<std::uint64_t, const char*> rows[] = {
        {0, "0x00"},
        {0xFE, "0xFE"},
        {0xFF, "0x00FF"},
        {0xFFFE, "0xFFFE"},
        {0xFFFF, "0x00FFFF"},
        {0xFFFFFE, "0xFFFFFE"},
        {0xFFFFFF, "0x00FFFFFF"},
        {0x1234ABCDE, "0x1234ABCDE"},
        {~std::uint64_t{0}, "0xFFFFFFFFFFFFFFFF"},
    };
    for (const auto& [value, text] : rows) {
        EXPECT_EQ(kest::format_number(value, true), text);
        EXPECT_EQ(kest::format_number(value, false), std::to_string(value));
    }
}

}  // namespace
