#pragma once

#include <string_view>

namespace kest {

extern const std::string_view banner;  // the program, its version, what it is for

// Writes banner and usage to the standard error stream.
void write_usage();

}  // namespace kest
