#pragma once

#include <algorithm>
#include <cstdint>

#include "mft/inode_record.h"
#include "operations/entry_info.h"

namespace kest {

// The running estimate of the time, in ticks: log records carry no clock.

// Raises the time to the latest of the record's eight times.
inline void time_from_inode(const inode_record& record, std::uint64_t& time) {
    time = std::max({time, record.si_times.latest(), record.fn_times.latest()});
}

// A journal time holds, be it earlier or later; without one the time is raised to the latest of the decoded times.
inline void time_from_info(const entry_info& info, std::uint64_t& time) {
    if (info.usn_time != 0) {
        time = info.usn_time;
    } else {
        time = std::max({time, info.std_times.latest(), info.name_times.latest()});
    }
}

}  // namespace kest
