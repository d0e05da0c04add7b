#include "portable/console.h"

#include <gtest/gtest.h>

#include "portable/file.h"
#include "support/scratch_folder.h"

namespace {

const std::string erase = "\x1b[2K\r    \r";

// What reaches the standard error stream while `say` runs.
std::string heard(void (*say)()) {
    const kest::disk::scratch_folder folder;
    {
        const kest::disk::redirected redirection(uni::standard_error, folder.put("heard"));
        say();
    }
    return kest::disk::contents_of(folder.at("heard"));
}

TEST(console, kept_cuts_a_line_before_line_feeds_go) {
    const std::string all = heard([] {
        uni::status_line(40, "");
        uni::status_line(3, "ab\ncd");
        uni::status_line(100, std::string(80, 'x'));
    });
    EXPECT_EQ(all, erase + "ab\r" + erase + std::string(70, 'x') + '\r');
}

TEST(console, meters_report_each_step_once) {
    const std::string all = heard([] {
        const auto run = [](double step, std::uint64_t total, std::uint64_t stride) {
            uni::percent_meter meter(40, step);
            for (std::uint64_t position = 0; position <= total; position += stride)
                meter.step(position, total);
        };
        run(40, 1000, 1);
        run(25, 1000, 600);  // one line for all the steps passed at once
        run(5, 19, 8);       // the step is cut to 0: every call reports
        run(5, 0, 1);
    });
    std::string expected;
    for (const char* percent : {"40", "80", "60", "0", "42", "84"})
        expected += erase + "percent done: " + percent + '\r';
    EXPECT_EQ(all, expected);
}

}  // namespace
