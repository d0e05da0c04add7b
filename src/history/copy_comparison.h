#pragma once

#include <cstdint>
#include <functional>

#include "history/replayed_record.h"

namespace kest {

// A file record of the MFT copy whose own LSN is that of the log's last record about it, so that both are of one
// moment.
struct copied_record {
    std::uint64_t number = 0;
    std::uint32_t last = 0;           // position in the log: the last record about it
    const replayed_record& replayed;  // what the log by itself leaves
    const replayed_record& copy;
};

// How the copy differs from what is known of the replayed record.
struct copy_comparison {
    std::uint32_t bytes = 0;  // that were compared
    bool differs = false;
    // What is not the same although nobody need have touched it, as it is written without being logged: data within the
    // record, by most systems, the sizes that its names have of them, and the time of the last access.
    bool differs_in_unlogged = false;
    std::uint32_t differing_at = 0;  // the first byte that makes it differ
};

copy_comparison compare_with_copy(const replayed_record& replayed, const replayed_record& copy);

using copy_check = std::function<void(const copied_record&, const copy_comparison&)>;

}  // namespace kest
