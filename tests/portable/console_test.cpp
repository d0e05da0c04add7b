#include "portable/console.h"

#include <gtest/gtest.h>

#include "support/scratch_folder.h"

namespace {

const std::string erase = "\x1b[2K\r    \r";

TEST(console, kept_cuts_a_line_before_line_feeds_go) {
    const kest::disk::scratch_folder folder;
    const int descriptor = ::open(folder.put("heard").c_str(), O_WRONLY | O_CLOEXEC);
    const kest::disk::redirected redirection(STDERR_FILENO, descriptor);
    uni::status_line(40, "");
    uni::status_line(3, "ab\ncd");
    uni::status_line(100, std::string(80, 'x'));
    ::close(descriptor);
    EXPECT_EQ(kest::disk::contents_of(folder.at("heard")), erase + "ab\r" + erase + std::string(70, 'x') + '\r');
}

}  // namespace
