#pragma once

#include <cstdint>

#include "logfile/log_store.h"

namespace kest {

// How many transactions a log holds, how they ended, and how many records they have. Each LSN counts once.
struct transaction_tally {
    // Each transaction is one of these.
    std::uint64_t done = 0;    // it was committed or forgotten
    std::uint64_t open = 0;    // its end is not in the log
    std::uint64_t undone = 0;  // all its steps were taken back, whether it ended or not
    // Of them:
    std::uint64_t partly_undone = 0;  // some steps were taken back
    std::uint64_t cut = 0;            // the beginning is not in the log

    std::uint64_t records_of_whole = 0;
    std::uint64_t records_of_cut = 0;
    std::uint64_t records_of_none = 0;  // checkpoints: the restart areas of a client, and its tables
};

// `link_chains` and `link_cut_chains` have linked the log.
transaction_tally tally_transactions(const log_store& log);

}  // namespace kest
