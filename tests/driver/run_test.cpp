#include "driver/run.h"

#include <gtest/gtest.h>
#include <regex>

#include "support/captured_run.h"
#include "support/memory_file.h"
#include "support/usn_image.h"

namespace kest {
namespace {

using disk::captured_run;
using disk::run_captured;

TEST(run, help_is_found_anywhere) {
    for (const argument_list& args : std::vector<argument_list>{{}, {"-out", "x", "/?"}, {"--HELP"}}) {
        const captured_run help = run_captured(args);
        EXPECT_EQ(help.status, 0);
        EXPECT_EQ(help.out, "");
        EXPECT_TRUE(help.err.starts_with("kest - limited ver: 0.23 - NTFS $LogFile analyser\n\nUsage\n"));
    }
    EXPECT_EQ(run({}), -1);
}

TEST(run, kept_the_stamp_has_a_date_format_of_its_own) {
    const auto stamped = [](const argument_list& args, const char* date) {
        const std::regex stamp("\nrun time: " + std::string(date) + " \\d\\d:\\d\\d:\\d\\d UTC; host: .+\n");
        return std::regex_search(run_captured(args).out, stamp);
    };
    EXPECT_TRUE(stamped({"-x"}, "\\d\\d/\\d\\d/\\d{4}"));
    EXPECT_TRUE(stamped({"-dateformat", ""}, "\\d\\d/\\d\\d/\\d{4}"));
    EXPECT_TRUE(stamped({"-dateformat", "dd-mmm-yy"}, "\\d\\d-[A-Z][a-z][a-z]-\\d{4}"));  // not judged by its length
}

// The second record has no sequence number, so it tells nothing of a number that is known.
TEST(run, kept_no_file_is_unique_behind_one_that_is_known) {
    disk::record_page page{.last_lsn = 0x3000};
    for (const std::uint64_t file : {0x1'0000'0000'0028L, 0x28L, 0x1'0000'0000'0029L}) {
        const std::uint64_t lsn = 0x2008 + 8 * page.records.size();
        page.records.push_back({.lsn = lsn, .redo_op = 8, .redo = disk::usn_image{.file = file}.image()});
    }
    const disk::memory_file log(page.image()), journal(disk::bytes(4096));
    const disk::scratch_folder folder;
    const std::string diags = folder.at("diags");
    EXPECT_EQ(run_captured({"-log", log.path(), "-jrnlfile", journal.path(), "-diags", diags, "-l2"}).status, 0);
    const std::string text = disk::contents_of(diags);
    EXPECT_NE(text.find("found 3 mft entries [logfile-usnjrnl], 1 were unique"), text.npos) << text;
}

}  // namespace
}  // namespace kest
