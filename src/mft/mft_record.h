#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "mft/inode_record.h"
#include "mft/limits.h"
#include "portable/byte_source.h"
#include "portable/byte_view.h"

namespace kest {

// Where file records are read from, and what reading them may still cost.
struct mft_source {
    const uni::byte_source& file;
    std::uint32_t record_size = 0;  // bytes
    budget reads;                   // of extension records and of clusters of attribute lists
    budget runs;                    // of index allocations that are kept

    // What came of it.
    limits_hit& omitted;
    std::vector<std::uint8_t> odd_name =
        {};                    // of the record read last, in UTF-16, where its text does not say all of it
    bool read_failed = false;  // before the file's end
};

// The signature "FILE", the update sequence array at 48 and of at most 9 words, the first attribute below 73.
[[nodiscard]] bool is_file_record(uni::byte_view bytes);

// Bytes of a file record, from its update sequence array; 0 if it is none.
std::uint32_t file_record_size(uni::byte_view bytes);

// Gives the sectors of a file record back the words that its update sequence array holds for them.
void repair_sectors(std::span<std::uint8_t> bytes);

// Fills `record` from the file record in `bytes`, and from the extension records that its attribute lists name. The
// sector ends are repaired in place. False if the bytes are no file record, or one that leads nowhere: without a name
// and without a base record.
bool parse_mft_record(inode_record& record, std::span<std::uint8_t> bytes, mft_source& source);

}  // namespace kest
