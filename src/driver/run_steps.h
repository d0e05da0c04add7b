#pragma once

#include <string>

#include "driver/logfile_options.h"
#include "portable/file.h"

namespace kest {

// Writes the report of the parsed log, or the table of its operations, as the options say.
void write_report(logfile_options& options, uni::fileio_output& report_sink);

// Tell the operator of a file at hand.
void say_parsing(const std::string& path);
void say_parsing_failed(const std::string& path);

}  // namespace kest
