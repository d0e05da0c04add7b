#include "format/result_row.h"

#include <gtest/gtest.h>

#include "format/number.h"
#include "support/scratch_folder.h"

namespace {

using kest::row_style;
using kest::row_writer;

// What a run in this style writes for one row of one column that `fill` fills, after the titles.
template <class filler>
std::string report(const row_style& style, std::size_t width, filler&& fill, bool base16 = true,
                   bool marks_separator = false) {
    const kest::disk::scratch_folder folder;
    uni::file file;
    if (!file.open(folder.at("report"), uni::open_mode::create_new)) return "not opened";
    {
        uni::fileio_output sink(file);
        row_writer rows(sink, style, base16, {{"", width, false, marks_separator}});
        rows.begin_line();
        fill(rows);
        rows.end_line();
    }
    const std::string written = kest::disk::contents_of(folder.at("report"));
    return written.substr(written.find('\n') + 1);
}

TEST(result_row, kept_decimal_number_is_padded_to_two_less) {
    const auto fill = [](row_writer& row) { row.wide_number(0, 0x2ABC); };
    EXPECT_EQ(report({}, 10, fill, false), "   10940\n");
    EXPECT_EQ(report({.no_whitespace = true}, 10, fill, false), "10940\n");
}

TEST(result_row, a_line_that_was_not_ended_is_dropped_or_ended_where_it_was_written) {
    const std::string wide(70'000, 'x');
    const auto fill = [](std::string_view unended) {
        return [unended](row_writer& rows) {
            rows.text(0, unended);
            rows.begin_line();
            rows.text(0, "b");
        };
    };
    EXPECT_EQ(report({.no_whitespace = true}, 0, fill("a")), "b\n");
    EXPECT_EQ(report({.no_whitespace = true}, 0, fill(wide)), wide + "\nb\n");
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
        const auto fill = [shown = text](row_writer& row) { row.text(0, shown); };
        row_style style{.sep_char = '~', .sep_subst = '-'};
        style.marks_line_ends = true;
        EXPECT_EQ(report(style, 30, fill), marked + std::string(30 - marked.size(), ' ') + '\n');
        style.marks_line_ends = false;
        EXPECT_EQ(report(style, 30, fill).find('['), std::string::npos);
    }
}

TEST(result_row, wide_values_are_no_others) {
    for (const std::size_t size : {65'535, 65'536}) {  // they are written by pieces of 65,536 bytes
        const std::string most(size, 'x'), text = most + std::string("\r\n|\0y", 5);
        const std::tuple<char, bool, std::string> rows[] = {
            {'|', false, most + std::string("\r\n;\0y", 5)},
            {'|', true, most + std::string("[CRLF];\0y", 9)},
            {'\0', false, text},
        };
        const auto fill = [&text](row_writer& row) { row.text(0, text); };
        for (const auto& [separator, marks, expected] : rows) {
            const row_style style{.sep_char = separator, .no_whitespace = true, .marks_line_ends = marks};
            EXPECT_TRUE(report(style, 0, fill) == expected + '\n') << size << separator;
        }
    }
}

TEST(result_row, quotes_where_needed) {
    const std::string wide(65'537, '"');
    const std::tuple<const char*, std::string, std::string> rows[] = {
        {",", "a b;c|d", "a b;c|d"},
        {",", "a,b", "\"a,b\""},
        {",", "\"", "\"\"\"\""},
        {",", "a\nb\r", "\"a\nb\r\""},
        {",", "", ""},
        {"||", "a|", "\"a|\""},  // whoever splits at the first separator would take the value's end for a part of it
        {"; ", "a; b", "\"a; b\""},
        {"\t", "a\tb,", "\"a\tb,\""},
        {",", wide, '"' + wide + wide + '"'},
        {",", std::string(65'537, 'x'), '"' + std::string(65'537, 'x') + '"'},
    };
    for (const auto& [separator, text, written] : rows) {
        const row_style style{
            .separator = separator, .sep_char = '\0', .no_whitespace = true, .marks_line_ends = true, .quotes = true};
        const auto fill = [shown = text](row_writer& row) { row.text(0, shown); };
        EXPECT_TRUE(report(style, 0, fill) == written + '\n') << text.substr(0, 9);
    }
}

TEST(result_row, separators_in_values_are_words_where_that_is_asked_for) {
    for (const std::size_t size : {0, 65'536}) {  // wide values are written by pieces
        const std::string before(size, 'x');
        const std::tuple<const char*, char, std::string> rows[] = {
            {" | ", '|', "a[0x7C],;\t"},
            {", ", ',', "a|[0x2C];\t"},
            {"\t", '\0', "a|,;\t"},
        };
        const auto fill = [&before](row_writer& row) { row.text(0, before + "a|,;\t"); };
        for (const auto& [separator, replaced, expected] : rows) {
            const row_style style{
                .separator = separator, .sep_char = replaced, .sep_subst = '-', .no_whitespace = true};
            EXPECT_TRUE(report(style, 0, fill, true, true) == before + expected + '\n') << size << separator;
        }
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
