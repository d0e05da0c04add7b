#pragma once

#include "driver/logfile_options.h"
#include "portable/file.h"

namespace kest {

// Writes the report of the parsed log: a row for each record of each chain.
void report_entries(logfile_options& options, uni::fileio_output& report_sink);

// Writes the table of how often each operation occurs in the parsed log.
void report_stats(logfile_options& options, uni::fileio_output& report_sink);

}  // namespace kest
