#pragma once

#include <cstdint>

#include "driver/logfile_options.h"
#include "portable/file.h"
#include "report/report_time.h"

namespace kest {

// Writes one file record of the MFT as a row of the report, and sets `last_time` to the time that the row shows,
// which may lower it.
void report_mft_row(logfile_options& options, uni::fileio_output& report_sink, result_row& row, time_column& times,
                    std::uint32_t position, std::uint64_t& last_time);

}  // namespace kest
