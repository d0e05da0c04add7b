#include "mft/inode_collection.h"

#include <gtest/gtest.h>

namespace kest {
namespace {

inode_record file(std::uint64_t number, std::uint16_t sequence, const char* name, uni::small_set<inode_ref> parents) {
    return {.inode = number, .sequence = sequence, .flags = 1, .parents = std::move(parents), .name = name};
}

TEST(merge_inode_record, tells_what_the_store_learned) {
    _inode_collection store;
    constexpr auto conflict = _inode_collection::name_conflict;
    const inode_ref parent(5, 5), other(9, 1);
    inode_record unused = file(30, 1, "unused", {parent});
    unused.flags = 0;
    bool known = false;
    EXPECT_EQ(merge_inode_record(store, unused, known, false), _inode_collection::not_merged);
    EXPECT_EQ(merge_inode_record(store, unused, known, true), 0u);
    EXPECT_FALSE(known);
    const std::tuple<const char*, inode_record, std::uint64_t, bool> rows[] = {
        {"new", file(40, 2, "one", {parent}), 1, false},
        {"again", file(40, 2, "one", {parent}), 1, true},
        {"second name", file(40, 2, "two", {parent}), 1, true},
        {"hard link under the second name", file(40, 2, "two", {other}), 1, false},
        {"third name", file(40, 2, "three", {inode_ref(77)}), 1 | conflict, true},
        {"no parent", file(40, 2, "one", {}), 1, true},
        {"reused record", file(40, 3, "new owner", {parent}), 2, false},
        {"any of the number", file(40, 0, "x", {other}), 1, true},
        {"unknown number", file(41, 0, "y", {other}), 3, false},
    };
    for (const auto& [what, record, result, was_known] : rows) {
        known = false;
        EXPECT_EQ(merge_inode_record(store, record, known, false), result) << what;
        EXPECT_EQ(known, was_known) << what;
    }
    EXPECT_EQ(store.records[1].further->alt_name, "two");
    EXPECT_EQ(store.records[1].parents, (uni::small_set<inode_ref>{parent, other}));
    EXPECT_EQ(store.find_first(40)->sequence, 2u);
    EXPECT_EQ(store.find_exact(inode_ref(40, 3))->name, "new owner");
    EXPECT_EQ(store.find_exact(inode_ref(41, 0)), nullptr);
    EXPECT_TRUE(store.inodes_by_number.empty());
}

TEST(merge_inode_record, keeps_no_more_parents_than_a_file_has_names) {
    _inode_collection store;
    bool known = false;
    for (std::uint64_t parent = 1; parent <= 1025; ++parent) {
        EXPECT_FALSE(store.omitted.parents);
        merge_inode_record(store, file(40, 2, "one", {inode_ref(2000 - parent)}), known, false);
        EXPECT_EQ(known, parent == 1025);
    }
    EXPECT_TRUE(store.omitted.parents);
    EXPECT_EQ(store.records[0].parents.size(), 1024u);
    EXPECT_EQ(store.records[0].first_parent().number(), 976u);
}

TEST(add_inode_record, prefers_directories_in_use) {
    _inode_collection store;
    for (const std::uint16_t sequence : std::vector<std::uint16_t>{1, 2, 3, 2}) {
        bool known = false;
        add_inode_record(store, {.inode = 50, .sequence = sequence, .is_directory = true, .in_use = sequence == 2},
                         known);
        EXPECT_EQ(known, store.records.size() == 3 && sequence == 2);
    }
    EXPECT_EQ(store.find_directory(50)->sequence, 2u);
    EXPECT_EQ(store.find_first(50)->sequence, 1u);
}

}  // namespace
}  // namespace kest
