#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "coverage/input_fit.h"
#include "history/copy_comparison.h"
#include "inputs/evidence.h"
#include "logfile/lsn_layout.h"
#include "logfile/page.h"
#include "logfile/restart_page.h"
#include "logfile/transaction_states.h"
#include "operations/stated_times.h"
#include "options/logfile_options.h"

namespace kest {

// The lowest and the highest of some values; of times, the first and the last. Nothing until one is added.
struct value_range {
    std::uint64_t lowest = 0;
    std::uint64_t highest = 0;
    bool any = false;

    void add(std::uint64_t value);
};

struct restart_coverage {
    bool torn = false;
    restart_facts facts;
};

// File records of the MFT copy whose own LSN is that of the log's last record about them, so that the log says what is
// in them.
struct copy_tally {
    std::uint64_t compared = 0;
    std::uint64_t equal = 0;
    std::uint64_t differing = 0;
    uncompared_copies uncompared;
};

struct mft_coverage {
    std::string path;
    std::uint64_t records = 0;
    std::uint64_t in_use = 0;
    value_range times;  // last changes of the file records in use, as these state them
    value_range usns;   // likewise; 0 is none
    value_range lsns;
    mft_fit fit;
    copy_tally replayed;
};

struct journal_coverage {
    std::string path;
    std::uint64_t records = 0;
    std::uint64_t unread_bytes = 0;  // of no record, and not zeros
    value_range times;
    value_range usns;
    journal_fit fit;
};

// A gap of the log, and the times next to it. 0: the log holds none.
struct gap_coverage {
    lsn_gap lsns;
    std::uint64_t time_before = 0;  // the last one before it
    std::uint64_t time_after = 0;   // the first one after it
};

// What one log covers, as far as it says so itself. Empty is what is not known.
struct log_coverage {
    std::string path;
    std::string choice;  // of events, by options; what is covered is all of the log
    std::string volume;  // where the run names it
    bool read_to_end = true;
    page_tally pages;
    std::optional<std::uint64_t> copied_pages;
    std::optional<std::uint64_t> never_written;
    std::array<std::optional<restart_coverage>, 2> restart;
    std::optional<bool> restart_agree;

    std::uint64_t records_stored = 0;
    std::uint64_t records_distinct = 0;  // by LSN
    transaction_tally transactions;
    value_range lsns;
    std::optional<std::vector<gap_coverage>> gaps;

    value_range journal_times;  // of the journal records in the log
    value_range journal_usns;
    std::vector<clock_change> clock_changes;    // where it was set back
    value_range record_times;                   // last changes that log records set
    std::optional<std::uint32_t> cluster_size;  // bytes
    std::string cluster_size_fit;               // what speaks against it; empty: nothing does

    std::optional<mft_coverage> mft;
    std::optional<journal_coverage> journal;
};

// Gathers it. `log.pages` was counted; `inodes` holds what the MFT does, and nothing of the log yet.
log_coverage gather_coverage(evidence& stores, const logfile_options& options, std::string_view log_path);

}  // namespace kest
