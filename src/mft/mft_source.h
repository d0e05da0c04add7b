#pragma once

#include <cstdint>
#include <vector>

#include "mft/limits.h"
#include "portable/file.h"

namespace kest {

// Where file records are read from, and what reading them may still cost.
struct mft_source {
    uni::file& file;
    std::uint64_t base_offset = 0;  // bytes; where the MFT begins in its file
    std::uint32_t record_size = 0;  // bytes
    std::uint32_t parse_mask = 0;   // parse_bits of the MFT reader
    allowance reads;                // of extension records and of clusters of attribute lists
    allowance runs;                 // of index allocations that are kept

    // What came of it.
    left_out& omitted;
    std::vector<std::uint8_t> odd_name =
        {};                    // of the record read last, in UTF-16, where its text does not say all of it
    bool read_failed = false;  // ahead of the file's end
};

}  // namespace kest
