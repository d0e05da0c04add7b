#pragma once

#include <string>

#include "report/coverage.h"

namespace kest {

// What a log covers as a sentence for people. Times are UTC, to the minute.
std::string coverage_summary(const log_coverage& coverage);

}  // namespace kest
