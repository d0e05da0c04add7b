#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "logfile/log_store.h"
#include "operations/record_fact.h"
#include "portable/large_pages.h"

namespace kest {

// How well it is known which file a record number stood for.
enum class owner_source : std::uint8_t { log, mft, guess, none };

// A fact in its transaction.
struct told_fact {
    std::uint64_t lsn = 0;
    inode_ref file;           // as the record tells it
    inode_ref owner;          // the file that it is about; for an extension record its base record's
    uni::byte_view data;      // in the log's own bytes
    std::uint32_t entry = 0;  // position in the log
    std::uint16_t place = 0;  // bytes: of an attribute in its file record, of bytes in $STANDARD_INFORMATION
    fact_kind kind = fact_kind::none;
    owner_source source = owner_source::none;
    bool undone = false;     // a compensation took it back
    bool rewritten = false;  // an image that replaces an earlier one of the same file

    bool is_birth() const;  // an image of a base record in use, where there was none
};

struct told_transaction {
    std::uint32_t first_fact = 0;
    std::uint32_t fact_count = 0;
    std::uint32_t head = 0;     // position of its first record
    bool cut = false;           // its beginning is lost
    bool done = false;          // a record says so
    bool splits_index = false;  // index entries move
};

// The facts of all transactions that leave any. They show the log's bytes.
struct told_log {
    std::vector<told_transaction> transactions;  // by their first LSN
    uni::large_vector<told_fact> facts;          // transaction after transaction, in the order of the steps
    std::uint64_t highest_lsn = 0;

    std::span<const told_fact> facts_of(const told_transaction& told) const {
        return std::span(facts).subspan(told.first_fact, told.fact_count);
    }
};

told_log gather_facts(const log_store& log);

}  // namespace kest
