#pragma once

#include <cstdint>
#include <span>

#include "format/result_row.h"
#include "inputs/read_inputs.h"
#include "outputs/diagnostics.h"

namespace kest {

// Tables for the diagnostic file; nothing without one. The names are those of the steps of a run that they show.

// Lists the inode store.
void merge_mft_data(const _inode_collection& inodes, const row_style& style, diagnostics& diags);

// Lists what became of the journal records found in the log, of which `merged` tells one by one.
void merge_journal_data(const evidence& stores, std::span<const merged_record> merged, const row_style& style,
                        diagnostics& diags);

}  // namespace kest
