#pragma once

#include <string>

#include "driver/run_steps.h"

namespace kest {

// Parses a log together with an MFT, a journal or both, each on a thread of its own, brings together what they tell
// and reports on the log. False, with words for the operator, if one of the files is not what it should be.
// Inputs that do not fit the log are reported in an extended run; with `-strict` they are refused before it, see below.
[[nodiscard]] bool worker_run(const run_context& run);

// For `-strict`: reads the inputs before all work, and gives a line for each that does not fit the log. Nothing, too,
// where that is not known, or an input cannot be opened: the run reports that.
std::string misfits_of_inputs(logfile_options options);

}  // namespace kest
