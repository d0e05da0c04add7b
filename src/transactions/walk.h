#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "journal/usn_journal.h"
#include "mft/inode_record.h"
#include "operations/entry_info.h"
#include "options/diagnostics.h"
#include "options/evidence.h"
#include "transactions/association.h"

namespace kest {

// A transaction at hand: a chain of records from its first one, the head, on.
struct transaction {
    std::span<const std::uint16_t> operations;  // redo operation of each record
    journal_fact fact;                          // what a journal says of it
    bool cut;                                   // its beginning is lost: the head is the first record that is left
};

// One record of a transaction: decoded, tied to its file and dated. Valid during the call.
struct step {
    const log_entry& entry;
    bool head;
    std::uint64_t time;              // running estimate at this record, ticks
    std::optional<inode_ref> shown;  // the file ahead of association; none: its data names none
    entry_info& redo;                // facts and text of the redo data; the teller may write on in its details
    const entry_info* undo;          // likewise of the undo data; null unless asked for
    const file_tie& tie;
    inode_ref file;  // the file and its parent, as the record's own data, its transaction and association tell them
    inode_ref parent;
    bool brought_journal;  // the transaction's journal fact came by this record
};

// Is told a log's transactions record by record, and the file records of the MFT in between, all in the order of LSNs.
class teller {
public:
    teller() = default;
    teller(const teller&) = delete;
    teller& operator=(const teller&) = delete;
    virtual ~teller() = default;

    // A file record of the MFT, if they are asked for; `time` is the running estimate that it sets.
    virtual void mft_record(const inode_record& /*record*/, std::uint64_t /*time*/, const journal_fact& /*fact*/) {}
    virtual void begin(const transaction& /*told*/) {}
    virtual void tell(const step& /*told*/) {}  // the head first
    virtual void end() {}
};

struct walk_settings {
    text_style style;  // of the decoded text
    bool guesses_allowed = true;
    bool mft_records = false;  // tell the file records of the MFT too
    bool undo = false;         // decode undo data too
    bool show_progress = false;
};

// Goes through the transactions of the log by the LSN of their heads, and decodes, ties and dates each record. The
// stores grow by what the records prove.
void walk_transactions(evidence& stores, const walk_settings& settings, diagnostics& diags, teller& listener);

}  // namespace kest
