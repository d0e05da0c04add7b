#include "portable/stdin_stream_ex.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

#include "portable/file.h"
#include "portable/folder_walk.h"
#include "support/scratch_folder.h"

namespace {

using kest::disk::redirected;
using list = std::vector<std::string>;

template <class stream_type>
list all_of(stream_type& stream) {
    list lines;
    for (std::string line; stream.read_line(line);)
        lines.push_back(line);
    return lines;
}

// Has an input read that arrives in two parts, through a pipe that does not wait.
void expect_lines(const std::string& input, const list& lines) {
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_NONBLOCK), 0);
    std::thread writer([&] {
        uni::file out;
        out.attach(ends[1]);
        EXPECT_TRUE(out.append(input.substr(0, input.size() / 2)));
        ::usleep(1000);
        EXPECT_TRUE(out.append(input.substr(input.size() / 2)));
        ::close(ends[1]);
    });
    const redirected standard_input(STDIN_FILENO, ends[0]);
    cvportdir::stdin_stream_ex stream;
    EXPECT_EQ(all_of(stream), lines);
    writer.join();
    ::close(ends[0]);
}

TEST(read_stdin, cuts_lines) {
    using namespace std::string_literals;
    expect_lines("", {});
    expect_lines("a\r\n\nb\n c \r\r\nd\re", {"a", "", "b", " c ", "d\re"});
    expect_lines("a\r\0b\nc\n\0\n"s, {"a", "c", ""});
    const redirected closed(STDIN_FILENO, -1);
    cvportdir::stdin_stream_ex stream;
    EXPECT_EQ(all_of(stream), list{});
}

TEST(read_stdin, kept_a_long_line_arrives_in_pieces) {
    const std::string longest(4094, 'x');  // 4095 with its line feed
    expect_lines(longest + "\nb\n", {longest, "b"});
    expect_lines(longest + "x\nb\n", {longest + "x", "", "b"});
    expect_lines(longest + "xyz", {longest + "x", "yz"});
}

TEST(folder_walk, lists_breadth_first_down_to_a_depth) {
    const kest::disk::scratch_folder folder;
    for (const char* name : {"root/a", "root/one/b", "root/one/two/c", "elsewhere/e"})
        folder.put(name);
    const std::string root = folder.at("root");
    for (const auto& [to, name] : {std::pair{"../elsewhere", "/to_folder"}, {"one/b", "/to_b"}, {"none", "/to_none"}})
        std::filesystem::create_symlink(to, root + name);
    ASSERT_EQ(::mkfifo((root + "/fifo").c_str(), 0600), 0);

    cvportdir::folder_walk stream;
    list expected = {root + "/a", root + "/to_b"};
    for (std::uint32_t depth = 0; depth < 3; ++depth) {
        ASSERT_TRUE(stream.start(depth == 1 ? root + '/' : root, depth, {}));
        list found = all_of(stream);
        std::sort(found.begin(), found.begin() + std::min<std::ptrdiff_t>(2, std::ssize(found)));
        EXPECT_EQ(found, expected);
        expected.push_back(root + (depth == 0 ? "/one/b" : "/one/two/c"));
    }
    ASSERT_TRUE(stream.start(root, ~0u, [](const std::string& path) { return path.ends_with("/c"); }));
    EXPECT_EQ(all_of(stream), list{root + "/one/two/c"});
    ASSERT_TRUE(stream.start(root + "/to_folder", 0, {}));  // the root itself may be a link
    EXPECT_EQ(all_of(stream), list{root + "/to_folder/e"});
    for (const std::string& no_directory : {std::string(), root + "/none", root + "/a"})
        EXPECT_FALSE(stream.start(no_directory, 1, {}) || !all_of(stream).empty());
}

}  // namespace
