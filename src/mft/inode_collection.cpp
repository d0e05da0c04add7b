#include "mft/inode_collection.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace kest {

namespace {

// Appends the record and enters it in the indexes by number.
std::uint32_t append_record(_inode_collection& collection, inode_record added) {
    const auto position = static_cast<std::uint32_t>(collection.records.size());
    const inode_record& record = collection.records.push_back(std::move(added));
    if (record.is_directory) index_directory(collection, record.inode, position);
    collection.inodes_all.add(record.inode, position);
    return position;
}

// A further record of a file that the store has.
std::uint64_t merge_into(_inode_collection& collection, std::uint32_t position, std::string_view name,
                         std::optional<inode_ref> parent, bool& known) {
    inode_record& target = collection.records[position];
    if (name != target.name) {
        if (target.further->alt_name.empty()) {
            target.further.made().alt_name = name;
        } else if (name != target.further->alt_name) {
            return position | _inode_collection::name_conflict;
        }
    }
    if (!parent) return position;
    const parent_entry news = add_parent(target, *parent);
    known = news != parent_entry::added;
    if (news == parent_entry::no_room) collection.omitted.parents = true;
    return position;
}

}  // namespace

void index_directory(_inode_collection& collection, std::uint64_t number, std::uint32_t position) {
    if (collection.inodes_by_number.add_unique(number, position)) return;
    if (collection.records[position].in_use) *collection.inodes_by_number.find(number) = position;
}

uni::byte_view _inode_collection::odd_name_of(const inode_record& record) const {
    const std::uint32_t* const position = inodes_by_ref.find(record.ref().by_number());
    if (position == nullptr) return {};
    const auto found = std::ranges::lower_bound(odd_names, *position, {}, &odd_name::position);
    if (found == odd_names.end() || found->position != *position) return {};
    return std::span<const std::uint8_t>(found->units);
}

std::uint64_t add_inode_record(_inode_collection& collection, inode_record record, bool& known) {
    const std::uint64_t key = record.ref().by_number();
    if (const std::uint32_t* found = collection.inodes_by_ref.find(key)) {
        known = true;
        return *found;
    }
    known = false;
    const std::uint32_t position = append_record(collection, std::move(record));
    collection.inodes_by_ref.add(key, position);
    return position;
}

std::uint64_t merge_inode_record(_inode_collection& collection, const inode_record& record, bool& known, bool force) {
    known = false;
    if (!force && (record.flags & inode_flags::in_use) == 0) return _inode_collection::not_merged;
    const auto parent = record.parents.empty() ? std::nullopt : std::optional(record.first_parent());
    if (const auto merged = merge_known_inode(collection, record.ref(), record.name, parent, known)) return *merged;
    const std::uint32_t position = append_record(collection, record);
    if (record.sequence != 0) collection.inodes_by_ref.add(record.ref().by_number(), position);
    return position;
}

std::optional<std::uint64_t> merge_known_inode(_inode_collection& collection, inode_ref ref, std::string_view name,
                                               std::optional<inode_ref> parent, bool& known) {
    const bool identified = ref.sequence() != 0;
    const std::uint32_t* const found =
        identified ? collection.inodes_by_ref.find(ref.by_number()) : collection.inodes_all.find(ref.number());
    known = found != nullptr;
    if (!known) return std::nullopt;
    return identified ? merge_into(collection, *found, name, parent, known) : *found;
}

namespace {

auto clusters_of(const owned_run& run) {
    return std::tuple(run.lcn, run.clusters);
}

}  // namespace

void mft_index::seal() {
    inodes_by_lsn.seal_unique();
    std::ranges::stable_sort(run_map, {}, clusters_of);
    const auto same = [](const owned_run& a, const owned_run& b) { return clusters_of(a) == clusters_of(b); };
    run_map.erase(std::unique(run_map.begin(), run_map.end(), same), run_map.end());
}

void index_mft_record(mft_index& index, inode_record& record, std::uint32_t position, std::uint64_t inode) {
    if (record.lsn != 0) index.inodes_by_lsn.add(record.lsn, position);
    if (record.further->index_runs.empty()) return;
    for (const run_record& run : record.further->index_runs) {
        index.run_map.push_back({run.lcn, run.clusters, static_cast<std::uint32_t>(inode)});
    }
    record.further.made().index_runs = {};
    if (record.further->base_records.empty() && record.further->alt_name.empty()) record.further.clear();
}

// Kept: the lowest run answers for what lies inside it or just after it, but not for its own first cluster; and
// the cluster just after a run still counts as inside.
std::uint64_t owner_by_cluster(const mft_index& index, std::uint64_t cluster) {
    const auto& runs = index.run_map;
    const auto above = std::ranges::upper_bound(runs, std::tuple(cluster, std::uint32_t{0}), {}, clusters_of);
    if (above == runs.begin()) return 0;
    if (above != runs.end() && above->lcn == cluster) return above->owner;
    const owned_run& before = *std::prev(above);
    return cluster - before.lcn <= before.clusters ? before.owner : 0;
}

namespace {

std::uint16_t sequence_after(std::uint16_t sequence) {
    return sequence == 0xFFFF ? 1 : static_cast<std::uint16_t>(sequence + 1);
}

}  // namespace

// What the log's journal records say of a file is in the store too, but was read from no MFT: `is_base` shows that.
const inode_record* stored_file(const _inode_collection& inodes, inode_ref file) {
    const inode_record* const exact = inodes.find_exact(file);
    if (exact != nullptr && exact->is_base && exact->in_use) return exact;
    const inode_record* const freed = inodes.find_exact({file.number(), sequence_after(file.sequence())});
    return freed != nullptr && freed->is_base && !freed->in_use ? freed : nullptr;
}

const inode_record* record_in_use(const _inode_collection& inodes, std::uint64_t number) {
    const inode_record* const first = inodes.find_first(number);
    const bool from_mft = first != nullptr && (first->is_base || !first->further->base_records.empty());
    return from_mft && first->in_use ? first : nullptr;
}

}  // namespace kest
