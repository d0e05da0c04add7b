#pragma once

#include <string>
#include <string_view>

#include "options/argument_list.h"

namespace kest {

extern const std::string_view version;  // the program and its version
extern const std::string_view banner;   // the program, its version, what it is for

// Writes banner and usage to the standard error stream.
void write_usage();

// What stands before every report: the banner, when and where the run was made, and its command line.
std::string run_header(const argument_list& args);

}  // namespace kest
