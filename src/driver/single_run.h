#pragma once

#include "driver/logfile_options.h"
#include "portable/file.h"

namespace kest {

// Parses one log that comes without an MFT or a journal, and reports on it. False, with words for the operator, if
// it cannot be opened.
[[nodiscard]] bool single_run(logfile_options& options, uni::fileio_output& report_sink);

}  // namespace kest
