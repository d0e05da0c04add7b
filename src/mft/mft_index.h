#pragma once

#include <cstdint>
#include <vector>

#include "mft/inode_record.h"
#include "portable/ordered_index.h"

namespace kest {

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

}  // namespace kest
