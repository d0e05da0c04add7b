#include "portable/console.h"

#include <gtest/gtest.h>

#include "support/scratch_folder.h"

namespace {

const std::string erase = "\x1b[2K\r    \r";

// Catches what reaches the standard error stream.
struct console : ::testing::Test {
    ~console() override { ::close(descriptor); }
    std::string heard() const { return kest::disk::contents_of(folder.at("heard")); }

    kest::disk::scratch_folder folder;
    int descriptor = ::open(folder.put("heard").c_str(), O_WRONLY | O_CLOEXEC);
    kest::disk::redirected redirection{STDERR_FILENO, descriptor};
};

TEST_F(console, kept_cuts_a_line_before_line_feeds_go) {
    uni::status_line(40, "");
    uni::status_line(3, "ab\ncd");
    EXPECT_EQ(heard(), erase + "ab\r");
    uni::status_line(100, std::string(80, 'x'));
    EXPECT_EQ(heard(), erase + "ab\r" + erase + std::string(70, 'x') + '\r');
}

TEST_F(console, meters_report_each_step_once) {
    const auto run = [&](double step, std::uint64_t total, std::uint64_t stride) {
        uni::percent_meter meter(40, step);
        for (std::uint64_t position = 0; position <= total; position += stride)
            meter.step(position, total);
    };
    std::string expected;
    run(40, 1000, 1);
    run(25, 1000, 600);  // one line for all the steps passed at once
    run(5, 19, 8);       // the step is cut to 0: every call reports
    run(5, 0, 1);
    for (const char* percent : {"40", "80", "60", "0", "42", "84"})
        expected += erase + "percent done: " + percent + '\r';
    EXPECT_EQ(heard(), expected);
}

}  // namespace
