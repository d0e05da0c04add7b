#include <chrono>
#include <csignal>

#include "images/image_process.h"
#include "support/byte_builder.h"
#include "support/scratch_folder.h"

namespace kest::disk {
namespace {

// What reads a container may crash or hang; that costs the image.
TEST(image_process, is_given_up_where_it_does_not_answer) {
    if (!has_library(image_form::split)) GTEST_SKIP() << "built without libtsk";
    const scratch_folder folder;
    const std::string path = folder.put("image", std::string(3'000'000, 'x'));
    bytes room(2'500'000);
    for (const int signal : {SIGKILL, SIGSEGV, SIGSTOP}) {
        const auto opened = image_process::open(path, image_form::split);
        ASSERT_TRUE(opened.image) << opened.error;
        EXPECT_EQ(opened.image->files(), std::vector<std::string>{path});
        EXPECT_EQ(opened.image->read_at(room, 1'000'000).bytes, 2'000'000u);
        EXPECT_EQ(room.front(), 'x');
        opened.image->set_patience(std::chrono::milliseconds(50));
        ::kill(opened.image->process(), signal);
        EXPECT_TRUE(opened.image->read_at(room, 0).failed);
        EXPECT_TRUE(opened.image->read_at(room, 0).failed);
        EXPECT_NE(opened.image->failure(), "");
    }
    std::filesystem::resize_file(path, 4096);
    EXPECT_FALSE(image_process::open(path, image_form::other).image);
    EXPECT_FALSE(image_process::open(folder.at("none"), image_form::split).image);
    const auto cut = image_process::open(path, image_form::split);
    std::filesystem::resize_file(path, 1000);
    EXPECT_EQ(cut.image->read_at(room, 0).bytes, 1000u);
}

}  // namespace
}  // namespace kest::disk
