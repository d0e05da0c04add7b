#pragma once

#include "driver/run_steps.h"

namespace kest {

// Parses the logs of a list one after another, from the standard input or a directory tree, and reports on each.
// True if there was a report on at least one.
[[nodiscard]] bool multi_run(const run_context& run);

}  // namespace kest
