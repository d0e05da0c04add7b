#pragma once

#include <cstdint>
#include <vector>

#include "journal/usn_record.h"
#include "logfile/log_store.h"
#include "mft/inode_ref.h"
#include "portable/byte_view.h"

namespace kest {

// A journal record in the log.
struct logged_usn {
    std::uint64_t lsn = 0;
    std::uint64_t usn = 0;
    std::uint64_t time = 0;  // ticks
    inode_ref file;
    std::uint32_t reason = 0;
    uni::byte_view name;  // UTF-16; shows the log's bytes

    // Whether a record of its USN says the same.
    bool is(const usn_record& record) const {
        return record.file() == file && record.get(&usn_layout::time) == time &&
               record.get(&usn_layout::reason) == reason;
    }
};

// Those that events rest on: the whole ones of versions 2 and 3, by USN; of equal ones the first in the file.
std::vector<logged_usn> logged_journal_records(const log_store& log);

struct logged_time {
    std::uint64_t lsn = 0;
    std::uint64_t time = 0;  // ticks
};

// The times of last change that log records set by the system's clock: those of new file records, and those that are
// raised. Not those that they carry along. `link_cut_chains` has linked the log.
std::vector<logged_time> logged_change_times(const log_store& log);

}  // namespace kest
