#pragma once

#include <span>
#include <string>

#include "portable/file.h"

namespace kest {

// Evidence is kept from being written. Files are distinguished by device and inode number of what is open, whatever
// they are called: a name may come to mean another file at any time.

// Says whether what is open under this number may not be written, since it may become an input or begins like evidence.
// `args` are all arguments of the run; `any_evidence` as below.
bool is_evidence(int descriptor, std::span<const std::string> args, bool any_evidence);

// A file of the run's own. One that was made for it goes again unless the run begins.
struct output_file {
    uni::file file;
    std::string created;  // path; empty: it was there, or the run has begun

    output_file() = default;
    output_file(const output_file&) = delete;
    output_file& operator=(const output_file&) = delete;
    ~output_file() { close(); }

    // False as for `uni::file`.
    bool close();
};

// What an output is held against: what is not yet taken of the arguments, and whether everything counts that is known
// of evidence. Otherwise it is logs and MFTs.
struct guard_rules {
    std::span<const std::string> left;
    bool any_evidence;
};

// Opens a file of the run's own, which is created if there is none and left as it is otherwise. False, with the file
// closed, also for a file that may become an input, and for one that begins like evidence.
[[nodiscard]] bool open_output(output_file& output, const std::string& path, const guard_rules& rules);

}  // namespace kest
