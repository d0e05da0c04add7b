#pragma once

#include <cstdint>
#include <functional>

#include "history/replayed_record.h"

namespace kest {

// A file record of the MFT copy whose own LSN is that of the log's last record about it, so that both are of one
// moment. Records that leave the LSN as it is may follow.
struct copied_record {
    std::uint64_t number = 0;
    std::uint32_t last = 0;           // position in the log: the record that left it
    const replayed_record& replayed;  // what the log by itself leaves
    const replayed_record& copy;
};

// How the copy differs from what is known of the replayed record.
struct copy_comparison {
    std::uint32_t bytes = 0;  // that were compared
    bool differs = false;
    // What is not the same although nobody need have touched it, as it is written without being logged: data within the
    // record, by most systems, the sizes that its names have of them, and the time of the last access; or what is
    // written without the record's LSN showing it: the times and sizes beside the names in an index.
    bool differs_in_unlogged = false;
    std::uint32_t differing_at = 0;  // the first byte that makes it differ
};

// `names_may_lag`: times and sizes beside the names in an index may have been written later than the record's LSN says.
copy_comparison compare_with_copy(const replayed_record& replayed, const replayed_record& copy,
                                  bool names_may_lag = false);

using copy_check = std::function<void(const copied_record&, const copy_comparison&)>;

}  // namespace kest
