#pragma once

#include "options/argument_list.h"

namespace kest {

inline constexpr int run_failed = -1;

// One run of the program, from its arguments to its exit status: 0, or `run_failed`.
int run(argument_list args);

void say_out_of_memory();

}  // namespace kest
