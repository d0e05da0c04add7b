#pragma once

#include <cstdint>
#include <span>

#include "format/result_row.h"
#include "options/diagnostics.h"
#include "options/evidence.h"

namespace kest {

// Tables for the diagnostic file; nothing without one. The names are those of the steps of a run that they show.

// Lists the inode store.
void merge_mft_data(const _inode_collection& inodes, const row_style& style, diagnostics& diags);

// What became of one element of `log_inode_records` in the inode store.
struct merged_record {
    std::uint64_t store_index = 0;  // what `merge_inode_record` gave; 0: it took none
    bool unique = false;
};

// Lists what became of the journal records found in the log, of which `merged` states each.
void merge_journal_data(const evidence& stores, std::span<const merged_record> merged, const row_style& style,
                        diagnostics& diags);

}  // namespace kest
