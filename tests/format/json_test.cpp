#include "format/json.h"

#include <gtest/gtest.h>

namespace kest {
namespace {

std::string as_value(std::string_view text) {
    std::string room(most_json_bytes(text), 'x');
    const char* const end = put_json_text(room.data(), text);
    EXPECT_LE(end, room.data() + room.size()) << text;
    return room.substr(0, static_cast<std::size_t>(end - room.data()));
}

TEST(put_json_text, is_valid_whatever_the_bytes_are) {
    const std::string instead = "\xEF\xBF\xBD";
    const std::pair<std::string, std::string> rows[] = {
        {"", ""},
        {"a\"b\\c/d", R"(a\"b\\c/d)"},
        {std::string("\0\x01\x1F \x7F", 5), "\\u0000\\u0001\\u001f \x7F"},
        {"\r\n\t\b", R"(\r\n\t\u0008)"},
        {"\xC2\x80 \xDF\xBF \xE0\xA0\x80 \xED\x9F\xBF \xEE\x80\x80 \xEF\xBF\xBF \xF0\x90\x80\x80 \xF4\x8F\xBF\xBF",
         "\xC2\x80 \xDF\xBF \xE0\xA0\x80 \xED\x9F\xBF \xEE\x80\x80 \xEF\xBF\xBF \xF0\x90\x80\x80 \xF4\x8F\xBF\xBF"},
        {"\x80 \xBF \xC0 \xC1 \xF5 \xFF",
         instead + ' ' + instead + ' ' + instead + ' ' + instead + ' ' + instead + ' ' + instead},
        {"\xC3", instead},  // cut
        {"\xE2\x82", instead + instead},
        {"\xF0\x9F\x98", instead + instead + instead},
        {"\xC3(", instead + '('},  // not gone on with
        {"\xE2\x82(", instead + instead + '('},
        {"\xF0\x9F\x98(", instead + instead + instead + '('},
        {"\xC1\xBF", instead + instead},  // longer than need be
        {"\xE0\x9F\xBF", instead + instead + instead},
        {"\xF0\x8F\xBF\xBF", instead + instead + instead + instead},
        {"\xED\xA0\x80", instead + instead + instead},                // a surrogate
        {"\xF4\x90\x80\x80", instead + instead + instead + instead},  // after the last character
    };
    for (const auto& [text, expected] : rows) {
        for (const std::size_t before : {0, 1, 5, 7, 8, 9, 2000}) {  // texts are looked through a word at a time
            const std::string rest(before, 'z');
            EXPECT_EQ(as_value(rest + text + rest), '"' + rest + expected + rest + '"');
        }
    }
    std::string all(3000, '\x01');
    EXPECT_EQ(as_value(all).size(), 2 + 6 * all.size());
}

TEST(put_json_number, has_no_value_where_all_bits_are_set) {
    char text[most_number_bytes];
    EXPECT_EQ(std::string(text, put_json_number(text, ~std::uint64_t{0})), "null");
    EXPECT_EQ(std::string(text, put_json_number(text, ~std::uint64_t{1})), "18446744073709551614");
}

}  // namespace
}  // namespace kest
