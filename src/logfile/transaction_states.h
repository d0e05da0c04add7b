#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "logfile/log_store.h"

namespace kest {

enum class transaction_state : std::uint8_t {
    none,        // the chain is no transaction: tables of a checkpoint, and what describes an open attribute
    committed,   // committed or forgotten
    open,        // its end is not in the log
    rolled_back  // all its steps were rolled back, whether it ended or not
};

// What became of the transactions of a log, and of their records.
struct transaction_states {
    struct outcome {
        transaction_state state = transaction_state::none;
        bool ended = false;               // committed or forgotten
        bool partly_rolled_back = false;  // some steps were, and some were not
    };

    std::vector<outcome> of_chain;  // in the order of `chain_heads`
    std::vector<bool> rolled_back;  // by position of a record: a compensation went back over it
};

// `link_chains` has linked the log, and `link_cut_chains` where those count.
transaction_states find_transaction_states(const log_store& log);

inline constexpr std::uint32_t no_transaction = 0xFFFF'FFFF;

// The number of the transaction that each record of a log belongs to, by position.
std::vector<std::uint32_t> number_transactions(const log_store& log);
// The same of some records only, whose positions rise.
std::vector<std::uint32_t> number_transactions(const log_store& log, std::span<const std::uint32_t> positions);

// How many transactions a log holds, how they ended, and how many records they have. Each LSN counts once.
struct transaction_tally {
    // Each transaction is one of these.
    std::uint64_t committed = 0;
    std::uint64_t open = 0;
    std::uint64_t rolled_back = 0;
    // Of them:
    std::uint64_t partly_rolled_back = 0;
    std::uint64_t cut = 0;  // the beginning is not in the log

    std::uint64_t records_of_whole = 0;
    std::uint64_t records_of_cut = 0;
    std::uint64_t records_of_none = 0;
};

transaction_tally tally_transactions(const log_store& log, const transaction_states& states);

}  // namespace kest
