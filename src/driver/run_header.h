#pragma once

#include <string>

#include "options/argument_list.h"

namespace kest {

// What stands ahead of every report: the banner, when and where the run was made, and its command line.
std::string run_header(const argument_list& args);

}  // namespace kest
