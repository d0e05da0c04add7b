#pragma once

#include <cstdint>
#include <vector>

#include "events/event.h"
#include "history/copy_comparison.h"

namespace kest {

// A file whose record in the MFT copy is not what the log wrote last, although the record's own LSN says that it is.
struct mft_difference {
    inode_ref file;                      // of an extension record that of its base record
    std::uint32_t proof = 0;             // position of the log's last record about it
    std::uint32_t transaction = 0;       // that record's
    event_values before;                 // what the log leaves; of either side what is not the same on the other
    event_values after;                  // what the copy states
    std::vector<std::uint8_t> old_name;  // what the names in them show
    std::vector<std::uint8_t> new_name;
};

mft_difference describe_difference(const copied_record& record, const copy_comparison& compared);

}  // namespace kest
