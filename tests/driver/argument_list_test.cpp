#include "driver/argument_list.h"

#include <gtest/gtest.h>

namespace kest {
namespace {

TEST(argument_list, options_are_whole_entries_in_any_case) {
    const argument_list args{"kest", "-CSV", "-logs", "-log"};
    EXPECT_TRUE(peek_flag("-csv", args, 1));
    EXPECT_FALSE(peek_flag("-csv", args, 2));
    EXPECT_FALSE(peek_flag("-lo", args, 0));
    EXPECT_FALSE(peek_flag("kest", args, 9));
}

TEST(argument_list, only_the_first_of_equal_options_is_taken) {
    argument_list args{"kest", "-Out", "a", "-out", "b", "-v", "-V"};
    std::string value;
    EXPECT_TRUE(take_value("-out", value, args));
    EXPECT_EQ(value, "a");
    EXPECT_TRUE(take_flag("-v", args));
    EXPECT_EQ(args, (argument_list{"kest", "-out", "b", "-V"}));
}

TEST(argument_list, a_missing_value_leaves_the_option_where_it_is) {
    argument_list args{"kest", "-log"};
    std::string value = "before";
    EXPECT_FALSE(take_value("-log", value, args));
    EXPECT_TRUE(peek_value("-log", value, args, 0));
    EXPECT_FALSE(take_value("-out", value, args));
    EXPECT_EQ(value, "before");
    EXPECT_EQ(args.size(), 2U);
}

}  // namespace
}  // namespace kest
