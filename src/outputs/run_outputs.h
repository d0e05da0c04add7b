#pragma once

#include "outputs/diagnostics.h"
#include "outputs/results_file.h"

namespace kest {

// What a run writes to, apart from the standard error stream.
struct run_outputs {
    diagnostics diags;
    results_file results;
    results_file page;      // of `-page`
    results_file database;  // of `-db`

    // Says whether the run is writing the file of this path.
    bool hold(const std::string& path) const {
        const auto file = uni::identify(path);
        return file &&
               (uni::stored_file(uni::standard_output) == file || uni::stored_file(uni::standard_error) == file ||
                diags.is(*file) || results.is(*file) || page.is(*file) || database.is(*file));
    }
};

}  // namespace kest
