#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "mft/inode_record.h"
#include "mft/limits.h"
#include "portable/block_vector.h"
#include "portable/byte_source.h"
#include "portable/byte_view.h"
#include "portable/large_pages.h"
#include "portable/ordered_index.h"

namespace kest {

// The inode store: every file record that the program has learned of, and the indexes that find it. Records are
// held by value and named by their position in `records`.
class _inode_collection {
public:
    static constexpr std::uint64_t name_conflict = 0x8000'0000'0000'0000;  // top bit of a merge result
    static constexpr std::uint64_t not_merged = ~std::uint64_t{0};

    // A name whose text leaves something out, in UTF-16: a zero unit and what follows it, or halves of surrogate pairs.
    struct odd_name {
        std::uint32_t position;  // of its record
        std::vector<std::uint8_t> units;
    };

    uni::block_vector<inode_record> records;
    std::vector<odd_name> odd_names;      // of records that were read from an MFT, in their order
    uni::ordered_index inodes_by_number;  // key: record number; directories only, one a number
    uni::ordered_index inodes_all;        // key: record number; every record, equal keys in order of arrival
    uni::ordered_index inodes_by_ref;     // key: inode_ref::by_number(); the first stays

    std::uint64_t total_size = 0;                      // bytes of the MFT file
    std::uint32_t record_size = 1024;                  // bytes
    std::shared_ptr<const uni::byte_source> mft_file;  // null: none is open
    limits_hit omitted;
    // A read failed before the file's end, or memory ran out: records are missing. Also noted where the file is only
    // looked into again.
    mutable bool incomplete = false;

    const inode_record* find_directory(std::uint64_t number) const { return at(inodes_by_number.find(number)); }
    const inode_record* find_first(std::uint64_t number) const { return at(inodes_all.find(number)); }
    const inode_record* find_exact(inode_ref ref) const { return at(inodes_by_ref.find(ref.by_number())); }
    // Of a record that `find_exact` gives; empty where the text of its name says it all.
    uni::byte_view odd_name_of(const inode_record& record) const;

private:
    const inode_record* at(const std::uint32_t* position) const {
        return position != nullptr ? &records[*position] : nullptr;
    }
};

// Enters the record in the store unless its file reference is there already. `known` says which. The result is
// the record's position.
std::uint64_t add_inode_record(_inode_collection& collection, inode_record record, bool& known);

// Brings what `record` knows into the store: a new file, a second name, a further parent. Unless `force`, only a
// record whose flags say in use is taken. The result is the record's position, with `name_conflict` set where it
// brings a third name; `not_merged` where it was not taken. `known`: the store learned nothing.
std::uint64_t merge_inode_record(_inode_collection& collection, const inode_record& record, bool& known, bool force);

// Brings a name and a parent to the store's record of a file, if there is one: its position, as above. A file of
// sequence number 0 cannot be distinguished from others of its number: the first of them counts, and learns nothing.
std::optional<std::uint64_t> merge_known_inode(_inode_collection& collection, inode_ref ref, std::string_view name,
                                               std::optional<inode_ref> parent, bool& known);

// Enters `position` under `number` in the index of directories: a record in use replaces another, one not in use
// does not.
void index_directory(_inode_collection& collection, std::uint64_t number, std::uint32_t position);

// Gives every directory without a path its path, from the parent links. Can be run again after additions.
void build_paths(_inode_collection& collection);

// Clusters of an index allocation, and the file record whose they are.
struct owned_run {
    std::uint64_t lcn = 0;       // first cluster
    std::uint32_t clusters = 0;  // length
    std::uint32_t owner = 0;     // record number
};

// What the report looks up in an MFT beside the inode store itself. Filled during the walk, sealed after it.
struct mft_index {
    uni::sealed_index inodes_by_lsn;  // key: LSN of the file record header, if nonzero; the first stays
    std::vector<owned_run> run_map;   // by first cluster, then by length; of equal ones the first stays

    void seal();
};

// Enters one parsed record, and moves its index runs to `run_map`.
void index_mft_record(mft_index& index, inode_record& record, std::uint32_t position, std::uint64_t inode);

// Record number of the owner of the run that holds `cluster`; 0 if none is known. `index` is sealed.
std::uint64_t owner_by_cluster(const mft_index& index, std::uint64_t cluster);
// The record of exactly this file in the MFT: in use, or given up since, when its sequence number is one higher. Null
// if there is none.
const inode_record* stored_file(const _inode_collection& inodes, inode_ref file);
// The record of an MFT that has this number and is in use; null if none.
const inode_record* record_in_use(const _inode_collection& inodes, std::uint64_t number);

}  // namespace kest
