#include <cstdlib>
#include <gtest/gtest.h>
#include <optional>

#include "driver/environment.h"
#include "driver/parse_number.h"

namespace kest {
namespace {

using number = std::optional<std::uint64_t>;

TEST(parse_number, reads_decimal_and_hexadecimal) {
    const std::string zeros(11, '0');
    struct row {
        std::string text;
        number expected;
    };
    const row rows[] = {
        {"256", 256},
        {"0x100", 256},
        {"x1F", 0x1F},
        {"zX1f", 0x1F},  // whatever stands before the sign
        {"0xFFFFFFFFFFFFFFFF", UINT64_MAX},
        {"0x0FFFFFFFFFFFFFFFF", std::nullopt},  // 17 digits
        {"18446744073709551617", 1},            // wraps
        {"018446744073709551617", std::nullopt},
        {"  7", 7},
        {std::string(40, ' ') + "7", 7},
        {"7 ", std::nullopt},
        {"", std::nullopt},
        {"  ", std::nullopt},
        {"-1", std::nullopt},
        {"1g", std::nullopt},
        {"0x", std::nullopt},
        {"0xg", std::nullopt},
        {"x1", std::nullopt},  // of two characters: decimal
    };
    for (const row& t : rows) {
        EXPECT_EQ(parse_number(t.text), t.expected) << '"' << t.text << '"';
    }
}

TEST(parse_number, kept_octal_is_read_as_hexadecimal) {
    EXPECT_EQ(parse_number("o17"), number(0x17));
    EXPECT_EQ(parse_number("Of"), number(0xF));
    EXPECT_EQ(parse_number('o' + std::string(21, '0') + '1'), number(1));
    EXPECT_EQ(parse_number('o' + std::string(22, '0') + '1'), std::nullopt);
    EXPECT_EQ(parse_number("o"), std::nullopt);
}

TEST(parse_hex_bytes, wants_two_digits_a_byte) {
    EXPECT_EQ(parse_hex_bytes("52435244"), "RCRD");
    EXPECT_EQ(parse_hex_bytes("fFa"), "");
    EXPECT_EQ(parse_hex_bytes("52zz"), "");
}

TEST(expand_environment, replaces_known_names_once) {
    ::setenv("KEST_A", "%KEST_B%", 1);
    ::setenv("KEST_B", "b", 1);
    const std::string long_text = std::string(504, '/') + "%KEST_B%";
    struct row {
        std::string text, expected;
    };
    const row rows[] = {
        {"/x/%KEST_B%/y", "/x/b/y"},
        {"%KEST_A%%KEST_B%", "%KEST_B%b"},                    // what was put in is not looked at again
        {"%KEST_NONE%KEST_B%KEST_B%", "%KEST_NONE%KEST_Bb"},  // an unknown name takes both its signs along
        {"%%KEST_B%", "%%KEST_B%"},
        {"100%", "100%"},
        {long_text, std::string(504, '/') + 'b'},
        {'/' + long_text, '/' + long_text},
    };
    for (const row& t : rows) {
        EXPECT_EQ(expand_environment(t.text), t.expected);
    }
}

}  // namespace
}  // namespace kest
