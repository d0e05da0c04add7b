#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "format/result_row.h"
#include "logfile/log_store.h"

namespace kest {

// How often each operation occurs in a log, as a table with a line for each. `current_file` names the log, or is empty.
std::string statistics_table(const log_store& log, std::string_view current_file, const row_style& style);

// The same as one JSON object a log.
void write_statistics_object(const log_store& log, std::string_view log_path, uni::fileio_output& report_sink);

// The same as one row a log.
std::vector<row_column> statistics_columns();
void write_statistics_row(const log_store& log, std::string_view current_file, const row_style& style,
                          row_writer& rows);

}  // namespace kest
