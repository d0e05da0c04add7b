#include "mft/inode_collection.h"

#include <gtest/gtest.h>

namespace kest {
namespace {

TEST(merge_inode_record, tells_what_the_store_learned) {
    _inode_collection store;
    const auto file = [](std::uint64_t number, std::uint16_t sequence, const char* name, std::set<inode_ref> parents) {
        return inode_record{
            .inode = number, .sequence = sequence, .flags = 1, .parents = std::move(parents), .name = name};
    };
    const inode_ref parent(5, 5), other(9, 1);
    inode_record unused = file(30, 1, "unused", {parent});
    unused.flags = 0;
    struct row {
        const char* what;
        inode_record record;
        bool force;
        std::uint64_t result;
        bool known;
    };
    const row rows[] = {
        {"not in use", unused, false, _inode_collection::not_merged, false},
        {"forced", unused, true, 0, false},
        {"new", file(40, 2, "one", {parent}), false, 1, false},
        {"again", file(40, 2, "one", {parent}), false, 1, true},
        {"second name", file(40, 2, "two", {parent}), false, 1, true},
        {"hard link under the second name", file(40, 2, "two", {other}), false, 1, false},
        {"third name", file(40, 2, "three", {inode_ref(77)}), false, 1 | _inode_collection::name_conflict, true},
        {"no parent", file(40, 2, "one", {}), false, 1, true},
        {"reused record", file(40, 3, "new owner", {parent}), false, 2, false},
        {"any of the number", file(40, 0, "x", {other}), false, 1, true},
        {"unknown number", file(41, 0, "y", {other}), false, 3, false},
    };
    for (const row& t : rows) {
        SCOPED_TRACE(t.what);
        bool known = false;
        EXPECT_EQ(merge_inode_record(store, t.record, known, t.force), t.result);
        EXPECT_EQ(known, t.known);
    }
    EXPECT_EQ(store.records[1].alt_name, "two");
    EXPECT_EQ(store.records[1].parents, (std::set{parent, other}));
    EXPECT_EQ(store.find_first(40)->sequence, 2u);
    EXPECT_EQ(store.find_exact(inode_ref(40, 3))->name, "new owner");
    EXPECT_EQ(store.find_exact(inode_ref(41, 0)), nullptr);
    EXPECT_TRUE(store.inodes_by_number.empty());
}

TEST(add_inode_record, prefers_directories_in_use) {
    _inode_collection store;
    for (const std::uint16_t sequence : std::vector<std::uint16_t>{1, 2, 3, 2}) {
        bool known = false;
        add_inode_record(store, {.inode = 50, .sequence = sequence, .is_directory = true, .in_use = sequence == 2},
                         known);
        EXPECT_EQ(known, store.records.size() == 3 && sequence == 2);
    }
    EXPECT_EQ(store.records.size(), 3u);
    EXPECT_EQ(store.find_directory(50)->sequence, 2u);
    EXPECT_EQ(store.find_first(50)->sequence, 1u);
}

}  // namespace
}  // namespace kest
