#pragma once

#include <string_view>

#include "driver/argument_list.h"
#include "portable/file.h"

namespace kest {

// Says whether a file holds a log or an MFT, by its first bytes: the arguments do not name the logs of a list.
bool begins_like_evidence(std::string_view path);

// Opens a file of the run's own for writing, and keeps evidence from being written. `left` is what is not yet taken
// of the arguments. False also for a file that is an input there, by whatever name it is called, and for one that
// begins like evidence.
[[nodiscard]] bool open_output(uni::file& file, std::string_view path, uni::open_mode mode, const argument_list& left);

}  // namespace kest
