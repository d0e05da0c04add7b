#pragma once

#include <string>

#include "options/logfile_options.h"
#include "report/coverage.h"

namespace kest {

// What a log covers as text, a line a fact: its word, and what is known of it. An empty line ends it.
std::string coverage_text(const log_coverage& coverage, const logfile_options& options);

}  // namespace kest
