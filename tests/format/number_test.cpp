#include "format/number.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

TEST(number, kept_width_steps_lie_at_ff) {
    struct row {
        std::uint64_t value;
        const char* text;
    };
    const row rows[] = {
        {0, "0x00"},
        {0xFE, "0xFE"},
        {0xFF, "0x00FF"},
        {0xFFFE, "0xFFFE"},
        {0xFFFF, "0x00FFFF"},
        {0xFFFFFE, "0xFFFFFE"},
        {0xFFFFFF, "0x00FFFFFF"},
        {0x1234ABCDE, "0x1234ABCDE"},
        {0xFFFFFFFFFFFFFFFF, "0xFFFFFFFFFFFFFFFF"},
    };
    for (const row& t : rows) {
        EXPECT_EQ(kest::format_number(t.value, true), t.text);
        EXPECT_EQ(kest::format_number(t.value, false), std::to_string(t.value));
    }
}

TEST(number, bytes_are_dumped_in_pairs) {
    const std::vector<std::uint8_t> bytes{0x00, 0x9F, 0xFF};
    for (const auto& [count, text] : {std::pair{0, "x"}, {1, "x00"}, {3, "x00-9F-FF"}}) {
        std::string out = "x";
        kest::append_dump(out, uni::byte_view{bytes}.slice(0, static_cast<std::uint64_t>(count)));
        EXPECT_EQ(out, text);
    }
}

}  // namespace
