#pragma once

#include "driver/run_steps.h"

namespace kest {

// Parses a log together with an MFT, a journal or both, each on a thread of its own, brings together what they tell
// and reports on the log. False, with words for the operator, if one of the files is not what it should be.
[[nodiscard]] bool worker_run(const run_context& run);

}  // namespace kest
