#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "inputs/evidence.h"
#include "journal/usn_journal.h"
#include "mft/inode_record.h"
#include "operations/operation_table.h"
#include "outputs/diagnostics.h"
#include "transactions/association.h"

namespace kest {

// A transaction at hand: a chain of records from its first one, the head, on.
struct transaction {
    std::span<const std::uint16_t> operations;  // redo operation of each record
    journal_fact fact;                          // what a journal says of it
    bool cut;                                   // its beginning is lost: the head is the first record that is left
};

// One record of a transaction: decoded, matched with its file and dated. Valid during the call.
struct step {
    const log_entry& entry;
    bool head;
    std::uint64_t time;              // running estimate at this record, ticks
    std::optional<inode_ref> shown;  // the file before association; none: its data names none
    entry_info& redo;                // facts and text of the redo data; the sink may write on in its details
    const entry_info* undo;          // likewise of the undo data; null unless asked for
    const file_match& match;
    inode_ref file;  // the file and its parent, as the record's own data, its transaction and association give them
    inode_ref parent;
    bool brought_journal;  // the transaction's journal fact came by this record
};

// Receives a log's transactions record by record, and the file records of the MFT in between, all in the order of LSNs.
class step_sink {
public:
    step_sink() = default;
    step_sink(const step_sink&) = delete;
    step_sink& operator=(const step_sink&) = delete;
    virtual ~step_sink() = default;

    // A file record of the MFT, if they are asked for; `time` is the running estimate that it sets.
    virtual void write_mft_record(const inode_record& /*record*/, std::uint64_t /*time*/,
                                  const journal_fact& /*fact*/) {}
    virtual void begin_transaction(const transaction& /*begun*/) {}
    virtual void write_step(const step& /*shown*/) {}  // the head first
};

struct walk_settings {
    text_style style;  // of the decoded text
    details_notation notation = details_notation::none;
    bool guesses_allowed = true;
    bool mft_records = false;  // hand on the file records of the MFT too
    bool undo = false;         // decode undo data too
    bool show_progress = false;
};

// Goes through the transactions of the log by the LSN of their heads, and decodes each record, finds its file and dates
// it. The stores grow by what the records prove.
void walk_transactions(evidence& stores, const walk_settings& settings, diagnostics& diags, step_sink& sink);

// Shows the operator how many transactions have been reported.
void show_entry_progress(std::uint64_t done, std::uint64_t total);

}  // namespace kest
