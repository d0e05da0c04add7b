#pragma once

#include "options/diagnostics.h"
#include "options/results_file.h"

namespace kest {

// What a run writes to, apart from the standard error stream.
struct run_outputs {
    diagnostics diags;
    results_file results;

    // Says whether the run is writing the file of this path.
    bool hold(const std::string& path) const;
};

}  // namespace kest
