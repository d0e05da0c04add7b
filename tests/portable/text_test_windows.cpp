// Text as Windows has it: half pairs in names of files, and what its shells send by a pipe.

#include <gtest/gtest.h>

#include "portable/piped_text.h"
#include "portable/windows_text.h"

namespace {

TEST(windows_text, comes_back_with_half_pairs) {
    for (const std::wstring text : {L"a\xD800", L"\xDC00\xD800z", L"\xD83D\xDE00\xD83D", L"ü文\xFFFD", L""})
        EXPECT_TRUE(uni::wide_text(uni::narrow_text(text)) == text) << uni::narrow_text(text);
    for (const char* broken : {"\xED\xA0", "\xC3", "\xFF"})
        EXPECT_EQ(uni::wide_text(broken).find_first_not_of(L'\xFFFD'), std::wstring::npos);
}

std::string decoded(const std::string& sent, std::size_t piece) {
    uni::piped_text text;
    std::string all;
    for (std::size_t at = 0; at < sent.size(); at += piece)
        all += text.decode(std::string_view(sent).substr(at, piece));
    return all += text.rest();
}

TEST(piped_text, is_the_same_in_any_pieces) {
    using namespace std::string_literals;
    const std::pair<std::string, std::string> rows[] = {
        {"\xFF\xFE\xFC\0b\0\n\0=\xD8\0\xDE"s, "üb\n😀"},
        {"C\0:\0\xFC\0"s, "C:ü"},  // no mark
        {"\xEF\xBB\xBFü\nb", "ü\nb"},
        {"ü\nx\x81y\n\x81", "ü\nxüy\nü"},  // the code page of a console
        {"\xFF\xFE", ""},
        {"a", "a"},
        {"", ""},
    };
    for (const auto& [sent, expected] : rows)
        for (const std::size_t piece : {1, 2, 3, 100})
            EXPECT_EQ(decoded(sent, piece), expected) << piece;
}

}  // namespace
