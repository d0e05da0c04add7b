#pragma once

#include "driver/run_steps.h"

namespace kest {

// Parses one log that comes without an MFT or a journal, and reports on it. False, with words for the operator, if
// it cannot be opened.
[[nodiscard]] bool single_run(const run_context& run);

}  // namespace kest
