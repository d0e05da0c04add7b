#include "mft/mft_reader.h"

#include <gtest/gtest.h>

#include "support/damage.h"
#include "support/memory_file.h"
#include "support/mft_image.h"

namespace kest {
namespace {

using namespace disk;

bool walk(_inode_collection& store) {
    return walk_mft_records(
        store, [](inode_record&, std::uint32_t, std::uint64_t) {}, [](std::uint64_t, std::uint64_t) {});
}

bool walk(_inode_collection& store, const bytes& image) {
    const memory_file memory(image);
    return load_mft(store, memory.path()) && walk(store);
}

// `count` records of files; every eighth is a directory.
std::vector<file_record> files(std::uint32_t count) {
    std::vector<file_record> records(count);
    for (u32 number = 0; number < count; ++number) {
        records[number].number = number;
        records[number].flags = number % 8 == 5 ? 3 : 1;
    }
    return records;
}

TEST(load_mft, wants_a_file_record_at_the_beginning) {
    const auto of = [](const file_record& first) { return mft_image({first}, 4); };
    const bytes sound = of({.number = 0});
    const std::pair<bytes, std::uint32_t> rows[] = {
        // image, record size; 0: refused
        {sound, 1024},
        {of({.number = 0, .size = 4096}), 4096},
        {of({.number = 0, .first_attribute = 73}), 0},
        {of({.number = 0, .usa_offset = 42}), 0},  // the older layout
        {of({.number = 0, .usa_count = 10}), 0},
        {of({.number = 0, .usa_count = 1}), 0},
        {cut(sound, 4095), 0},
        {flip(sound, 1), 0},
    };
    for (const auto& [image, record_size] : rows) {
        const memory_file memory(image);
        _inode_collection store;
        EXPECT_EQ(load_mft(store, memory.path()), record_size != 0);
        EXPECT_EQ(store.mft_file.is_open(), record_size != 0);
        EXPECT_EQ(store.record_size, record_size);
        EXPECT_FALSE(load_mft(store, ""));
        EXPECT_FALSE(store.mft_file.is_open());
    }
}

TEST(walk_mft_records, sees_every_record_to_the_last_whole_one) {
    for (const std::size_t count : {16u, 17u, 1024u, 1030u}) {
        SCOPED_TRACE(count);
        bytes image = mft_image(files(static_cast<std::uint32_t>(count)), count);
        image.resize(image.size() + 1000);
        _inode_collection all;
        all.all_records = true;
        EXPECT_TRUE(walk(all, image));
        ASSERT_EQ(all.records.size(), count);
        EXPECT_EQ(all.records.back().disk_offset, (count - 1) * 1024);
        EXPECT_EQ(all.find_first(count - 1)->inode, count - 1);
        EXPECT_EQ(all.inodes_by_number.size(), (count + 2) / 8);
        _inode_collection directories;
        EXPECT_TRUE(walk(directories, image));
        EXPECT_EQ(directories.records.size(), (count + 2) / 8);
    }
}

TEST(walk_mft_records, passes_over_what_is_no_record) {
    bytes image = mft_image(files(8));
    image[2 * 1024] = 'B';
    lay(image, 3 * 1024, file_record{.number = 3, .attributes = {}}.image());
    lay(image, 4 * 1024, file_record{.number = 6}.image());  // the number and sequence of another
    _inode_collection store;
    store.all_records = true;
    EXPECT_TRUE(walk(store, image));
    EXPECT_EQ(store.records.size(), 6u);
    EXPECT_EQ(store.find_exact(inode_ref(6, 1))->disk_offset, 4u * 1024);
    EXPECT_EQ(store.inodes_all.size(), 6u);
    EXPECT_EQ(store.inodes_by_ref.size(), 5u);

    _inode_collection flat;
    flat.all_records = true;
    EXPECT_FALSE(walk(flat, mft_image(files(5))));  // no directory
    EXPECT_EQ(flat.records.size(), 5u);
    EXPECT_TRUE(flat.inodes_by_number.empty());
}

// The process's own memory is a file that cannot be read in places.
TEST(walk_mft_records, kept_lets_a_short_chunk_bound_the_later_ones) {
    constexpr std::size_t begin = 0x10000, page = 4096, pages = 32;
    void* const memory = ::mmap(reinterpret_cast<void*>(begin), page * pages, PROT_READ | PROT_WRITE,
                                MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
    if (memory == MAP_FAILED) GTEST_SKIP() << "no memory at low addresses";
    const bytes image = mft_image(files(128), 128);
    std::memcpy(memory, image.data(), image.size());
    ::munmap(static_cast<char*>(memory) + 6 * page, page);  // records 24 to 27: in the middle of the second chunk
    _inode_collection store;
    store.total_size = page * pages;
    store.base_offset = begin;
    store.all_records = true;
    EXPECT_TRUE(store.mft_file.open("/proc/self/mem", uni::open_mode::read));
    EXPECT_TRUE(walk(store));
    EXPECT_EQ(store.records.size(), 16u + 7 * 8);
    ::munmap(memory, page * pages);
}

}  // namespace
}  // namespace kest
