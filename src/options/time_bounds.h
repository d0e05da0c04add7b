#pragma once

#include <string_view>

#include "options/cmd_params.h"

namespace kest {

// Set one bound of the time window from "<date>" or "<date> <time>", the date as year, month and day. One that is no
// time is left unset, and the operator is told. False for a date without "/" and "-": then the run cannot go on.
//
// A start opens the window's other end. A stop without time is the last second of its day, and counts only if it is
// not earlier than the start.
[[nodiscard]] bool set_start_bound(cmd_params& options, std::string_view text);
[[nodiscard]] bool set_stop_bound(cmd_params& options, std::string_view text);

}  // namespace kest
