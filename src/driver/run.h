#pragma once

#include "driver/argument_list.h"

namespace kest {

// One run of the program, from its arguments to its exit status: 0, or -1 for a run that failed.
int run(argument_list args);

}  // namespace kest
