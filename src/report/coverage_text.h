#pragma once

#include <string>

#include "coverage/coverage.h"
#include "options/logfile_options.h"
#include "portable/file.h"
#include "report/provenance.h"

namespace kest {

// What a log covers as a sentence for people. Times are UTC, to the minute.
std::string coverage_summary(const log_coverage& coverage);

// What a log covers as text, a line a fact: its word, and what is known of it. An empty line ends it.
std::string coverage_text(const log_coverage& coverage, const std::optional<provenance>& made_of,
                          const logfile_options& options);

// The same as one JSON object.
void write_coverage_object(const log_coverage& coverage, uni::fileio_output& report_sink);

}  // namespace kest
