#pragma once

#include <string_view>

#include "options/argument_list.h"
#include "portable/file.h"

namespace kest {

// Evidence is kept from being written. Files are told apart by device and inode number of what is open, whatever they
// are called: a name may come to mean another file at any time.

// Says whether what is open under this number may not be written, since it may become an input or begins like evidence.
// `args` are all arguments of the run.
bool is_evidence(int descriptor, const argument_list& args);

// Opens a file of the run's own, which is created if there is none and left as it is otherwise. `left` is what is not
// yet taken of the arguments. False, with the file closed, also for a file that may become an input, and for one that
// begins like evidence.
[[nodiscard]] bool open_output(uni::file& file, std::string_view path, const argument_list& left);

}  // namespace kest
