#include "options/run_outputs.h"

#include <unistd.h>

namespace kest {

bool run_outputs::hold(const std::string& path) const {
    const auto file = uni::identify(path);
    return file && (uni::stored_file(STDOUT_FILENO) == file || uni::stored_file(STDERR_FILENO) == file ||
                    diags.is(*file) || results.is(*file));
}

}  // namespace kest
