#include <array>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "portable/file.h"
#include "portable/host.h"
#include "support/scratch_folder.h"

namespace {

using uni::open_mode;

struct system_file : ::testing::Test {
    kest::disk::scratch_folder folder;
    uni::file opened;
    std::array<std::uint8_t, 4> buffer{};
};

TEST_F(system_file, kept_process_files_have_a_size_and_a_pipe_is_none) {
    ASSERT_TRUE(opened.open("/proc/self/status", open_mode::read));
    EXPECT_EQ(opened.size(), 262144u);
    EXPECT_EQ(opened.read_at(buffer, 0).bytes, 4u);
    ASSERT_EQ(::mkfifo(folder.at("fifo").c_str(), 0600), 0);
    for (const open_mode mode : {open_mode::read, open_mode::create})
        EXPECT_FALSE(opened.open(folder.at("fifo"), mode));
}

TEST_F(system_file, new_ones_have_the_mode_that_the_umask_leaves) {
    const mode_t mask = ::umask(027);
    EXPECT_TRUE(opened.open(folder.at("out"), open_mode::create_new));
    ::umask(mask);
    EXPECT_EQ(static_cast<unsigned>(std::filesystem::status(folder.at("out")).permissions()), 0640u);
}

TEST_F(system_file, waits_for_a_pipe_that_is_full) {
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_NONBLOCK), 0);
    std::size_t arrived = 0;
    std::thread reader([&] {
        for (ssize_t got = -1; got != 0; got = ::read(ends[0], buffer.data(), buffer.size()))
            arrived += got > 0 ? static_cast<std::size_t>(got) : 0;
    });
    opened.attach(ends[1]);
    EXPECT_TRUE(opened.append(std::string(300'000, 'x')));
    opened.close();
    EXPECT_EQ(::close(ends[1]), 0);  // an attached one was left open
    reader.join();
    ::close(ends[0]);
    EXPECT_EQ(arrived, 300'000u);
}

TEST(system_threads, take_little_of_an_address_space_that_is_limited) {
    uni::take_arguments(0, nullptr);
    std::size_t stack = 0;
    std::thread([&stack] {
        pthread_attr_t own;
        ::pthread_getattr_np(::pthread_self(), &own);
        ::pthread_attr_getstacksize(&own, &stack);
        ::pthread_attr_destroy(&own);
    }).join();
    EXPECT_LE(stack, std::size_t{1} << 20);
}

}  // namespace
