#include "mft/mft_index.h"

#include <algorithm>
#include <tuple>

namespace kest {

namespace {

auto place(const owned_run& run) {
    return std::tuple(run.lcn, run.clusters);
}

}  // namespace

void mft_index::seal() {
    inodes_by_lsn.seal_unique();
    std::ranges::stable_sort(run_map, {}, place);
    const auto same = [](const owned_run& a, const owned_run& b) { return place(a) == place(b); };
    run_map.erase(std::unique(run_map.begin(), run_map.end(), same), run_map.end());
}

void index_mft_record(mft_index& index, inode_record& record, std::uint32_t position, std::uint64_t inode) {
    if (record.lsn != 0) index.inodes_by_lsn.add(record.lsn, position);
    for (const run_record& run : record.index_runs) {
        index.run_map.push_back({run.lcn, run.clusters, static_cast<std::uint32_t>(inode)});
    }
    record.index_runs = {};
}

// Kept: the lowest run answers for what lies inside it or just behind it, but not for its own first cluster; and
// the cluster just behind a run still counts as inside.
std::uint64_t owner_by_cluster(const mft_index& index, std::uint64_t cluster) {
    const auto& runs = index.run_map;
    const auto above = std::ranges::upper_bound(runs, std::tuple(cluster, std::uint32_t{0}), {}, place);
    if (above == runs.begin()) return 0;
    if (above != runs.end() && above->lcn == cluster) return above->owner;
    const owned_run& before = *std::prev(above);
    return cluster - before.lcn <= before.clusters ? before.owner : 0;
}

}  // namespace kest
