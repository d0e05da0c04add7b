#pragma once

#include "driver/logfile_options.h"
#include "portable/file.h"

namespace kest {

// Parses the logs of a list one after another, from the standard input or a directory tree, and reports on each.
// True if there was a report on at least one.
[[nodiscard]] bool multi_run(logfile_options& options, uni::fileio_output& report_sink);

}  // namespace kest
