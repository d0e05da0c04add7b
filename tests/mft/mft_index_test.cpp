#include "mft/mft_index.h"

#include <gtest/gtest.h>

namespace kest {
namespace {

mft_index index_of(const std::vector<std::pair<std::uint64_t, std::vector<run_record>>>& owners) {
    mft_index index;
    for (std::uint32_t position = 0; position < owners.size(); ++position) {
        inode_record record{.lsn = position % 2, .index_runs = owners[position].second};
        index_mft_record(index, record, position, owners[position].first);
        EXPECT_TRUE(record.index_runs.empty());
    }
    index.seal();
    return index;
}

TEST(owner_by_cluster, kept_leaves_the_lowest_run_without_its_first_cluster) {
    const mft_index index = index_of({{30, {{.lcn = 200, .clusters = 8}}},
                                      {31, {{.lcn = 100, .clusters = 10}, {.lcn = 300, .clusters = 0}}},
                                      {32, {{.lcn = 200, .clusters = 8}}}});
    struct row {
        std::uint64_t cluster, owner;
    };
    const row rows[] = {
        {99, 0},   {100, 0}, {101, 31},  {109, 31}, {110, 31},  // just behind the run
        {111, 0},  {199, 0}, {200, 30},  {208, 30}, {209, 0},   // the first of equal runs stays
        {300, 31}, {301, 0}, {~0ull, 0},
    };
    for (const row& t : rows) {
        EXPECT_EQ(owner_by_cluster(index, t.cluster), t.owner) << t.cluster;
    }
    EXPECT_EQ(owner_by_cluster(mft_index{}, 5), 0u);
}

TEST(index_mft_record, finds_the_first_record_of_an_lsn) {
    const mft_index index = index_of({{30, {}}, {31, {}}, {32, {}}, {33, {}}});
    EXPECT_EQ(index.inodes_by_lsn.find(1), 1u);
    EXPECT_EQ(index.inodes_by_lsn.find(0), std::nullopt);
}

}  // namespace
}  // namespace kest
