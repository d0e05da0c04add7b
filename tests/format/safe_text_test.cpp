#include "format/safe_text.h"

#include <gtest/gtest.h>

namespace kest {
namespace {

using namespace std::string_literals;

TEST(safe_text, looks_like_no_other) {
    const std::tuple<std::string, std::string> rows[] = {
        {"plain \uFFFD\u4E2D\U0001F600", "plain \uFFFD\u4E2D\U0001F600"},
        {"a\nb\rc\td", "a[LF]b[CR]c[TAB]d"},
        {"\0\x1F \x7F~"s, "[0x00][0x1F] [0x7F]~"},
        {"\u0080\u009F\u00A0", "[0x80][0x9F]\u00A0"},
        {"\u2800\u2027\u2028a\u2029b\u202A\u202F", "[0x2800]\u2027[0x2028]a[0x2029]b[0x202A]\u202F"},
        {"\u200Ba\u200F\u2010\u2066\uFEFF\u00AD\uFE0F", "[0x200B]a[0x200F]\u2010[0x2066][0xFEFF][0xAD][0xFE0F]"},
        {"\U000E0041\U0001BCA0\U0001BCA4\U00013430", "[0xE0041][0x1BCA0]\U0001BCA4[0x13430]"},
        {"[LF] [lf] [CRLF] [TAB", "[[]LF] [lf] [CRLF] [TAB"},
        {"[0x1b][0x1][0x1234567][0x10FFFF][0xG0][]", "[[]0x1b][0x1][0x1234567][[]0x10FFFF][0xG0][]"},
        {"[[] [[LF] [[]LF] [\n]", "[[][] [[[]LF] [[][]LF] [[LF]]"},
        {"\xC2\x7F\xE2\x80\xED\xA0\x80", "[0xDCC2][0x7F][0xDCE2][0xDC80][0xDCED][0xDCA0][0xDC80]"},
    };
    for (const auto& [text, safe] : rows) {
        std::string as_text, as_name;
        EXPECT_EQ(append_safe_text(as_text, text), text != safe);
        EXPECT_EQ(append_safe_name(as_name, text), text != safe);
        EXPECT_EQ(as_text, safe);
        EXPECT_EQ(as_name, safe);
    }
    std::string path, name, quoted;
    EXPECT_FALSE(append_safe_text(path, "a\\b/c:d "));
    EXPECT_TRUE(append_safe_name(name, " a\\b/c:d  "));
    append_quoted_text(quoted, "\"a\\");
    EXPECT_EQ(path + ' ' + name + ' ' + quoted, "a\\b/c:d   a[0x5C]b[0x2F]c[0x3A]d [0x20] \\\"a\\\\");
    for (const std::size_t before : {251, 252, 253, 1000}) {  // texts are put together by pieces
        std::string out;
        append_safe_text(out, std::string(before, 'x') + "\U0001F600\n");
        EXPECT_EQ(out, std::string(before, 'x') + "\U0001F600[LF]");
    }
}

TEST(safe_text, keeps_halves_of_pairs_and_what_follows_a_zero) {
    const std::uint8_t units[] = {0,    0,   'a', 0,   0x3D, 0xD8, 0, 0xDE, 0, 0xDE, 0x3D,
                                  0xD8, '[', 0,   'L', 0,    'F',  0, ']',  0, 7};
    std::string name;
    EXPECT_TRUE(append_safe_name(name, std::span<const std::uint8_t>(units)));
    EXPECT_EQ(name, "[0x00]a\U0001F600[0xDE00][0xD83D][[]LF]");
}

TEST(safe_text, differs_from_separators_by_one_character) {
    const std::tuple<std::string, std::optional<std::string>> rows[] = {
        {" | ", "|"}, {"||", "|"}, {",", ","},   {", ;#", "#"},
        {"ab;", ";"}, {"\t", ""},  {"\xC3", {}}, {"x\u00A6y", "\u00A6"},
        {"a1", {}},   {" ", {}},   {"", {}},     {"[]", {}},
        {" : ", {}},  {"_", {}},   {"|\n", {}},  {"\"|", {}},
    };
    for (const auto& [separator, character] : rows)
        EXPECT_EQ(separating_character(separator), character) << separator;
    std::string marked;
    append_marked_text(marked, "\u00A6a\u00A6", "\u00A6");
    append_marked_text(marked, "b|c|", "|");
    EXPECT_EQ(marked, "[0xA6]a[0xA6]b[0x7C]c[0x7C]");
}

}  // namespace
}  // namespace kest
