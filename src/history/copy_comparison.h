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
    std::uint32_t transaction = 0;    // that record's
    const replayed_record& replayed;  // what the log by itself leaves
    const replayed_record& copy;
};

// Parts of a file record, as bits.
enum class record_part : std::uint16_t {
    header = 0x1,  // of the file record: what is none of the next ones
    sequence = 0x2,
    links = 0x4,
    record_flags = 0x8,
    base_record = 0x10,
    times = 0x20,  // of $STANDARD_INFORMATION, as the next ones
    flags = 0x40,
    security_id = 0x80,
    standard_information = 0x100,  // the rest of it
    name_times = 0x200,            // of $FILE_NAME
    name = 0x400,                  // the rest of it
    data = 0x800,                  // of a file, within the file record
    sizes = 0x1000,                // of an attribute that lies elsewhere
    runs = 0x2000,                 // likewise
    attributes = 0x4000            // whatever else
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
    std::uint16_t parts = 0;         // all that do: bits of `record_part`
};

// `names_may_lag`: times and sizes beside the names in an index may have been written later than the record's LSN says.
copy_comparison compare_with_copy(const replayed_record& replayed, const replayed_record& copy,
                                  bool names_may_lag = false);

// File records that the log writes to and that are not compared with the MFT copy.
struct uncompared_copies {
    std::uint64_t unreadable = 0;   // the copy holds no file record there
    std::uint64_t lsn_unknown = 0;  // the log has no record about it with the LSN that it names, and no gap there
    std::uint64_t older = 0;        // none of these: it names an LSN before the log's last change of it
};

using copy_check = std::function<void(const copied_record&, const copy_comparison&)>;

}  // namespace kest
