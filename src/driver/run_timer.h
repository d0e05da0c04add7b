#pragma once

#include <cstdint>

#include "options/diagnostics.h"

namespace kest {

// Tells how long a run took.
class run_timer {
public:
    run_timer();

    // On the standard error stream with `profile`, and in the diagnostic file.
    void tell(bool profile, diagnostics& diags) const;

private:
    std::uint64_t m_start_ticks;
};

}  // namespace kest
