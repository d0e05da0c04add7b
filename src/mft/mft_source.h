#pragma once

#include <cstdint>

#include "portable/file.h"

namespace kest {

// Where file records are read from, and what reading them may still cost.
struct mft_source {
    uni::file& file;
    std::uint64_t base_offset = 0;  // bytes; where the MFT begins in its file
    std::uint32_t record_size = 0;  // bytes
    std::uint32_t parse_mask = 0;   // parse_bits of the MFT reader
    std::uint64_t reads_left = 0;   // of extension records and of clusters of attribute lists
    std::int64_t runs_left = 0;     // of index allocations that are kept; below 0 what one attribute took too many

    // What came of it.
    bool parents_left_out = false;  // of a file with more than are kept
    bool read_failed = false;       // ahead of the file's end
};

}  // namespace kest
