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
    EXPECT_EQ(store.records[1].alt_name, "two");
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
        EXPECT_FALSE(store.parents_left_out);
        merge_inode_record(store, file(40, 2, "one", {inode_ref(2000 - parent)}), known, false);
        EXPECT_EQ(known, parent == 1025);
    }
    EXPECT_TRUE(store.parents_left_out);
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

struct directory {
    std::uint64_t number, parent;  // parent 0: none
    std::string name;
    std::string path = {};
    bool final = true;
};

void fill(_inode_collection& store, const std::vector<directory>& directories) {
    for (const directory& d : directories) {
        bool known = false;
        inode_record record{.inode = d.number, .sequence = 1, .is_directory = true, .in_use = true, .name = d.name};
        if (d.parent != 0) record.parents = {inode_ref(d.parent, 1)};
        add_inode_record(store, record, known);
    }
}

TEST(build_paths, joins_names_up_to_the_root) {
    const std::string lost = "[unk_inode_0x0000002a]\\lost\\", grand = "[unk_inode_0x00000000]\\grand\\";
    const std::vector<directory> groups[] = {
        {{5, 5, ".", "[root]/"}, {31, 32, "c", "[root]\\b\\c\\"}, {32, 5, "b", "[root]\\b\\"}},
        {{40, 5, "no record of the root", "[root]\\no record of the root\\"}},
        {{41, 42, "lost", lost, false}, {43, 41, "in it", lost + "in it\\", false}},
        {{44, 0x1234'5678'9ABC, "far", "[unk_inode_0x123456789abc]\\far\\", false}},
        {{45, 5, "", "[root]\\[unk_inode_0x0000002d]\\"}, {46, 45, "x", "[root]\\[unk_inode_0x0000002d]\\x\\"}},
        {{47, 0, "orphan", "orphan\\", false}, {48, 47, "its child", "orphan\\its child\\", false}},
        {{50, 51, "child", grand + "orphan\\child\\", false},
         {51, 52, "orphan", grand + "orphan\\", false},
         {52, 0, "grand", grand, false}},
        {{60, 60, "own parent", "own parent\\", false}, {61, 60, "child", "own parent\\child\\", false}},
        {{64, 65, "child", "own\\own\\child\\", false}, {65, 65, "own", "own\\", false}},
        {{70, 71, "a", "b\\a\\", false}, {71, 70, "b", "b\\", false}},
        {{80, 81, "leaf", "c\\b\\leaf\\", false}, {81, 82, "b", "c\\b\\", false}, {82, 81, "c", "c\\", false}},
    };
    for (const std::vector<directory>& group : groups) {
        _inode_collection store;
        fill(store, group);
        build_paths(store);
        for (const directory& d : group) {
            EXPECT_EQ(store.find_directory(d.number)->path, d.path);
            EXPECT_EQ(store.find_directory(d.number)->path_final, d.final) << d.path;
        }
    }
}

// Deeper than any volume is: each path ends in bounds, from whichever end the chain is walked.
TEST(build_paths, bounds_the_paths_of_a_deep_chain) {
    for (const bool deepest_first : {false, true}) {
        std::vector<directory> chain;
        for (std::uint64_t n = 100; n < 3100; ++n) {
            const std::uint64_t above = deepest_first ? n + 1 : n - 1;
            chain.push_back({n, above == 99 || above == 3100 ? 5 : above, std::string(765, 'n')});
        }
        _inode_collection store;
        fill(store, chain);
        build_paths(store);
        for (const inode_record& r : store.records)
            EXPECT_LE(r.path.size(), 98'301u + 766);
        EXPECT_EQ(std::ranges::count(store.records, true, &inode_record::path_final), 129);  // of 766 bytes each
    }
}

}  // namespace
}  // namespace kest
