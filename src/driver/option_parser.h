#pragma once

#include "driver/argument_list.h"
#include "driver/logfile_options.h"

namespace kest {

// Both take options out of the list, in a fixed order: so it does not matter in which order they are given, and of
// two that say the same thing the later one in that order wins. What is left is ignored. False if the run cannot go
// on: words for the operator have been written where there are any.

// Takes the options common to a family of tools.
[[nodiscard]] bool parse_common_options(cmd_params& options, argument_list& args);

// Takes those, and then the program's own.
[[nodiscard]] bool parse_options(logfile_options& options, argument_list& args);

}  // namespace kest
