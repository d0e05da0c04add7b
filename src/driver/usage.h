#pragma once

#include <string_view>

namespace kest {

inline constexpr std::string_view banner = "kest - limited ver: 0.23 - NTFS $LogFile analyser";

// Writes banner and usage to the standard error stream.
void write_usage();

}  // namespace kest
