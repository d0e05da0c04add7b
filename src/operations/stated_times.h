#pragma once

#include <cstdint>
#include <vector>

#include "format/time.h"
#include "logfile/log_store.h"
#include "logfile/transaction_states.h"
#include "logfile/volume_geometry.h"
#include "operations/log_facts.h"

namespace kest {

// A time that the system's clock showed when a log record was written: that of a journal record, or the one that a new
// file record gets. No program has a say in either.
struct stated_time {
    std::uint64_t lsn = 0;
    std::uint64_t ticks = 0;
    std::uint32_t transaction = 0;  // number of its chain
    std::uint32_t position = 0;     // in the log
    bool of_journal = false;
};

// Between two records of the log the clock was set back. Ticks.
struct clock_change {
    std::uint64_t lsn_before = 0;  // of the record that states the time before
    std::uint64_t before = 0;
    stated_time after;
};

// Whether the clock was set back from one time to the other: two threads may write in another order than they asked for
// the time.
constexpr bool is_set_back(std::uint64_t before, std::uint64_t after) {
    return after < before && before - after > cv::ticks_per_second;
}

// All of a log, by LSN. Nothing that was rolled back counts.
std::vector<stated_time> find_stated_times(const log_store& log, const transaction_states& states,
                                           const log_facts& facts, const mft_geometry& geometry);

// Where they fall, by LSN.
std::vector<clock_change> find_clock_changes(const std::vector<stated_time>& times);

}  // namespace kest
