#pragma once

#include <string>
#include <string_view>

namespace kest {

extern const std::string_view version;  // the program and its version
extern const std::string_view banner;   // the program, its version, what it is for

// Writes banner and usage to the standard error stream.
void write_usage();

// Every option, in groups, a line each.
std::string all_options();

}  // namespace kest
