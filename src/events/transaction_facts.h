#pragma once

#include <cstdint>
#include <vector>

#include "logfile/log_store.h"
#include "logfile/transaction_states.h"
#include "operations/record_fact.h"

namespace kest {

// An index entry or a journal record: what a transaction says of a file beside the file's own record.
struct event_fact {
    std::uint64_t lsn = 0;
    inode_ref file;
    uni::byte_view data;      // in the log's own bytes
    std::uint32_t entry = 0;  // position in the log
    fact_kind kind = fact_kind::none;
    bool rolled_back = false;
};

struct transaction_facts {
    std::uint32_t number = 0xFFFF'FFFF;  // of its chain
    std::uint32_t head = 0;              // position of its first record
    bool cut = false;                    // its beginning is lost
    bool done = false;                   // a record says so
    bool splits_index = false;           // index entries move
    std::vector<event_fact> facts;       // in the order of the steps
    std::vector<std::uint64_t> taken;    // numbers of the file records that were free until now, in order
};

// Reads the facts of a log's transactions.
class fact_reader {
public:
    fact_reader(const log_store& log, const transaction_states& states, const mft_geometry& place)
        : m_log(log), m_states(states), m_place(place) {}

    // Replaces all of `out` by what the chain says.
    void read(transaction_facts& out, std::uint32_t chain) const;

private:
    void read_record(transaction_facts& out, std::uint32_t position) const;

    const log_store& m_log;
    const transaction_states& m_states;
    const mft_geometry m_place;
};

// Whether the file that a fact is about is a folder.
bool is_folder_by(const event_fact& fact);

}  // namespace kest
