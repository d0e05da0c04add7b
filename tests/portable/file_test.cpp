#include "portable/file.h"

#include <array>
#include <gtest/gtest.h>

#include "support/scratch_folder.h"

namespace {

using kest::disk::contents_of;
using uni::open_mode;

struct file : ::testing::Test {
    kest::disk::scratch_folder folder;
    uni::file opened;
    std::array<std::uint8_t, 4> buffer{};
};
using fileio_output = file;

TEST_F(file, refuses_what_has_no_offsets) {
    folder.put("plain", "four");
    for (const open_mode mode : {open_mode::read, open_mode::create}) {
        for (const std::string& path : {std::string(), std::string("//"), folder.at("")})
            EXPECT_FALSE(opened.open(path, mode)) << path;
        EXPECT_FALSE(opened.is_open());
        EXPECT_TRUE(opened.open(folder.at("plain/\\/"), mode));
        EXPECT_EQ(opened.size(), 4u);
    }
}

TEST_F(file, ends_where_it_was_measured) {
    ASSERT_TRUE(opened.open(folder.put("ten", "0123456789"), open_mode::read));
    const auto read = [&](std::uint64_t offset) {
        const uni::read_result arrived = opened.read_at(buffer, offset);
        EXPECT_FALSE(arrived.failed);
        return arrived.bytes;
    };
    EXPECT_EQ(read(8), 2u);
    EXPECT_EQ(read(3), 4u);
    EXPECT_EQ(buffer, (std::array<std::uint8_t, 4>{'3', '4', '5', '6'}));
    EXPECT_EQ(read(10), 0u);
    EXPECT_EQ(read(~0ull), 0u);
    std::filesystem::resize_file(folder.at("ten"), 2);  // while it is read
    EXPECT_EQ(read(0), 2u);
    EXPECT_EQ(read(4), 0u);
    opened.close();
    EXPECT_TRUE(opened.read_at(buffer, 0).failed);
}

TEST_F(fileio_output, says_what_a_target_did_not_take_and_writes_nothing_more) {
    using writing = uni::fileio_output::writing;
    const std::string block(uni::fileio_output::put_area / 4, 'x');
    for (const auto& [how, throws] : {std::pair(writing::in_place, false), std::pair(writing::on_thread, false),
                                      std::pair(writing::on_thread, true)}) {
        for (const int failing : {0, 1, 3}) {  // of the target's turns
            int turn = 0;
            const auto target = [&, throws = throws](std::string_view) {
                if (turn++ == failing && throws) throw std::bad_alloc();
                return turn <= failing;
            };
            uni::fileio_output out(target, how);
            bool thrown = false;
            for (int written = 0; written < 40; ++written) {
                try {
                    out.write(block);
                } catch (const std::bad_alloc&) {
                    thrown = true;
                }
            }
            EXPECT_FALSE(out.flush());
            EXPECT_EQ(turn, failing + 1);
            EXPECT_EQ(thrown, throws);
        }
    }
}

TEST_F(fileio_output, keeps_every_byte_in_order) {
    for (const auto how : {uni::fileio_output::writing::in_place, uni::fileio_output::writing::on_thread}) {
        ASSERT_TRUE(opened.open(folder.at(std::to_string(static_cast<int>(how))), open_mode::create_new));
        std::string expected;
        std::optional<uni::fileio_output> out(std::in_place, opened, how);
        for (const unsigned length :
             {1u,        262143u, 1u,      262144u, 7u,      600000u, 262145u, 0u,      200000u, 70000u, 5u,
              17000000u, 999999u, 200000u, 250000u, 262143u, 250000u, 250000u, 250000u, 250000u, 250000u}) {
            expected.append(length, static_cast<char>('a' + expected.size() % 26));
            out->write(std::string_view(expected).substr(expected.size() - length));
        }
        out.reset();  // what is left comes when the stream goes
        EXPECT_TRUE(contents_of(folder.at(std::to_string(static_cast<int>(how)))) == expected);
    }
}

}  // namespace
