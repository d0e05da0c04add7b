#pragma once

#include "driver/logfile_options.h"

namespace kest {

// Lists the inode store in the diagnostic file; nothing without one.
void merge_mft_data(logfile_options& options, bool with_header);

// Lists, in the diagnostic file, what became of the journal records found in the log; nothing without one.
void merge_journal_data(logfile_options& options, bool with_header);

}  // namespace kest
