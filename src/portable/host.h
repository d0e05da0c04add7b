#pragma once

#include <optional>
#include <string>
#include <vector>

namespace uni {

// What the system says of itself and of this run; text as UTF-8.

// Nothing if the host has no name that is known.
std::optional<std::string> host_name();

// The arguments of `main`, the program's own name first. Readies the standard streams for what the program writes, and
// the system for its threads.
std::vector<std::string> take_arguments(int count, char** arguments);

// The value of a variable of the environment; nothing if there is none.
std::optional<std::string> environment_value(const std::string& name);

}  // namespace uni
