#include <gtest/gtest.h>

#include "mft/inode_collection.h"

namespace kest {
namespace {

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
    const std::vector<directory> groups[] = {
        {{5, 5, "."}, {30, 5, "a", "[root]\\a\\"}, {31, 32, "c", "[root]\\a\\b\\c\\"}, {32, 30, "b", "[root]\\a\\b\\"}},
        {{40, 5, "no record of the root", "[root]\\no record of the root\\"}},
        {{41, 42, "lost", "[unk_inode_0x0000002a]\\lost\\", false},
         {43, 41, "in it", "[unk_inode_0x0000002a]\\lost\\in it\\", false}},
        {{44, 0x1234'5678'9ABC, "far", "[unk_inode_0x123456789abc]\\far\\", false}},
        {{45, 5, "", "[root]\\[unk_inode_0x0000002d]\\"}, {46, 45, "x", "[root]\\[unk_inode_0x0000002d]\\x\\"}},
        {{47, 0, "orphan", "orphan\\", false}, {48, 47, "its child", "orphan\\its child\\", false}},
        {{50, 51, "its child", "[unk_inode_0x00000000]\\grand\\orphan\\its child\\", false},
         {51, 52, "orphan", "[unk_inode_0x00000000]\\grand\\orphan\\", false},
         {52, 0, "grand", "[unk_inode_0x00000000]\\grand\\", false}},
        {{60, 60, "own parent", "own parent\\", false}, {61, 60, "child", "own parent\\child\\", false}},
        {{64, 65, "child", "own parent\\own parent\\child\\", false}, {65, 65, "own parent", "own parent\\", false}},
        {{70, 71, "a", "b\\a\\", false}, {71, 70, "b", "b\\", false}},
        {{80, 81, "leaf", "c\\b\\leaf\\", false}, {81, 82, "b", "c\\b\\", false}, {82, 81, "c", "c\\", false}},
    };
    for (const std::vector<directory>& group : groups) {
        _inode_collection store;
        fill(store, group);
        build_paths(store);
        for (const directory& d : group) {
            if (d.number == 5) continue;
            EXPECT_EQ(store.find_directory(d.number)->path, d.path);
            EXPECT_EQ(store.find_directory(d.number)->path_final, d.final) << d.path;
        }
    }
}

// Deeper than any volume is: each path ends in bounds, and so do all together.
TEST(build_paths, bounds_the_paths_of_a_deep_chain) {
    std::vector<directory> chain;
    for (std::uint64_t number = 100; number < 3100; ++number) {
        chain.push_back({number, number == 100 ? 5 : number - 1, std::string(765, 'n')});
    }
    for (const bool deepest_first : {false, true}) {
        if (deepest_first) {
            for (directory& d : chain)
                d.parent = d.number == 3099 ? 5 : d.number + 1;
        }
        _inode_collection store;
        fill(store, chain);
        build_paths(store);
        std::size_t total = 0, final = 0;
        for (const inode_record& r : store.records) {
            EXPECT_LE(r.path.size(), 98'301u + 766);
            total += r.path.size();
            final += r.path_final;
        }
        EXPECT_LE(total, (64u << 20) + 3000 * 1024 + 100'000);
        EXPECT_EQ(final, 129u);  // 129 names of 766 bytes are the first to pass the bound
    }
}

}  // namespace
}  // namespace kest
