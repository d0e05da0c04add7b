#pragma once

#include <string>
#include <string_view>

namespace uni {

// A file that is not whole yet stands under a name of its own, in the same folder as the one that it is to have.

// The name for a path without trailing "/": hidden, and with an ending that no pattern for reports or logs has. It is
// always the same, so that two runs meet there, and what a killed one left is found.
std::string unfinished_path(std::string_view path);

// Says whether a name, without its folder, is such a name.
bool is_unfinished_name(std::string_view name);

}  // namespace uni
