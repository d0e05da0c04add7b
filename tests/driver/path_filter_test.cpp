#include "driver/path_filter.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "driver/option_parser.h"
#include "support/scratch_folder.h"

namespace kest {
namespace {

cmd_params with(argument_list args) {
    cmd_params options;
    args.insert(args.begin(), {"kest", "-pipe"});
    EXPECT_TRUE(parse_common_options(options, args));
    return options;
}

TEST(path_wanted, one_filter_is_enough) {
    const disk::scratch_folder folder;
    const std::string log = folder.put("Case/LogFile.1", "....RSTR");
    const std::string root = folder.at("");
    const std::pair<argument_list, bool> rows[] = {
        {{}, true},
        {{"-filter", "logfile.?"}, true},
        {{"-filter", "*file"}, false},
        {{"-filter", "l*f*1**"}, true},
        {{"-filter", "case*"}, false},  // the name alone
        {{"-filter", "*CASE/log*"}, true},
        {{"-filter", "*.bin,|*.1"}, true},
        {{"-filter", "|,"}, true},  // no filter at all
        {{"-filter", "no", "-filter", "log*"}, true},
        {{"-filter", "no", "-filter_path", root + "case/"}, true},
        {{"-filter", "no", "-filter_path", "case"}, false},
        {{"-filter_sig", "52535452,4"}, true},
        {{"-filter_sig", "52535452|0x5"}, false},
        {{"-filter_sig", "2e2e|4|z"}, true},  // an offset only as the last of two
        {{"-filter_sig", "2e", "-filter", "no"}, true},
        {{"-filter_sig", "5253545200|4"}, false},  // reaches behind the end
        {{"-filter_sig", "bad"}, true},            // half a byte, so no filter
        {{"-filter_sig", "2ezz"}, true},           // likewise
    };
    for (const auto& [args, wanted] : rows)
        EXPECT_EQ(path_wanted(with(args), log), wanted) << ::testing::PrintToString(args);
    EXPECT_FALSE(path_wanted({}, ""));
    EXPECT_FALSE(path_wanted(with({"-filter_sig", "2e"}), folder.at("missing")));
}

TEST(path_wanted, a_pattern_of_many_stars_ends) {
    std::string stars;
    for (int i = 0; i < 200; ++i)
        stars += "*a";
    EXPECT_FALSE(path_wanted(with({"-filter", stars + "b"}), std::string(4000, 'a')));
}

TEST(path_wanted, times_reach_into_the_window) {
    const disk::scratch_folder folder;
    const std::string log = folder.put("log");
    const timespec times[] = {{951'782'400, 0}, {946'684'800, 0}};  // 2000-02-29 and 2000-01-01; the change is now
    ASSERT_EQ(::utimensat(AT_FDCWD, log.c_str(), times, 0), 0);
    const std::pair<argument_list, bool> rows[] = {
        {{"-cmd_stop_time", "1999-12-31"}, false},
        {{"-cmd_stop_time", "2000-01-01 00:00:00"}, true},
        {{"-cmd_start_time", "2001-01-01", "-cmd_stop_time", "2002-01-01"}, true},  // between its times
        {{"-cmd_start_time", "2999-01-01"}, false},
    };
    for (const auto& [args, wanted] : rows) {
        EXPECT_EQ(path_wanted(with(args), log), wanted) << ::testing::PrintToString(args);
        EXPECT_EQ(path_wanted(with(args), log + "\\/"), wanted) << "as opening sees it";
        EXPECT_FALSE(path_wanted(with(args), folder.at("missing")));
    }
}

}  // namespace
}  // namespace kest
