#pragma once

#include <cstdint>
#include <vector>

#include "portable/byte_source.h"

namespace kest {

// A stretch of a disk that its partition table names. What it claims is not checked: it may reach beyond the disk, or
// lie over another one.
struct disk_partition {
    std::uint32_t number = 0;  // as systems count them: an MBR's primary ones are 1 to 4, its logical ones 5 and up
    std::uint64_t offset = 0;  // bytes
    std::uint64_t size = 0;    // bytes
};

// The partitions of a disk by its GPT, by the GPT's copy at the end, or by its MBR, in the order of the table. Empty if
// there is none.
std::vector<disk_partition> read_partition_table(const uni::byte_source& disk);

}  // namespace kest
