#include "format/safe_text.h"

#include <gtest/gtest.h>

namespace kest {
namespace {

TEST(safe_text, stays_on_its_line_and_between_its_quotes) {
    const std::tuple<std::string, std::string, std::string> rows[] = {
        {"plain", "plain", "plain"},
        {"a\nb\rc\td", "a[LF]b[CR]c[TAB]d", "a[LF]b[CR]c[TAB]d"},
        {std::string("\0\x1F \x7F~", 5), "[0x00][0x1F] [0x7F]~", "[0x00][0x1F] [0x7F]~"},
        {"\xC2\x7F\xC2\x80\xC2\x9F\xC2\xA0", "\xC2[0x7F][0x80][0x9F]\xC2\xA0", "\xC2[0x7F][0x80][0x9F]\xC2\xA0"},
        {"\u2027\u2028a\u2029b\u202A", "\u2027[0x2028]a[0x2029]b\u202A", "\u2027[0x2028]a[0x2029]b\u202A"},
        {"\xE2\x81\xA8\xE2\x80", "\xE2\x81\xA8\xE2\x80", "\xE2\x81\xA8\xE2\x80"},
        {"say \"a\\b\"", "say \"a\\b\"", "say \\\"a\\\\b\\\""},
        {"\"\n\\", "\"[LF]\\", "\\\"[LF]\\\\"},
    };
    for (const auto& [text, safe, quoted] : rows) {
        std::string as_safe = "x", as_quoted = "y";
        append_safe_text(as_safe, text);
        append_quoted_text(as_quoted, text);
        EXPECT_EQ(as_safe, 'x' + safe);
        EXPECT_EQ(as_quoted, 'y' + quoted);
    }
}

}  // namespace
}  // namespace kest
