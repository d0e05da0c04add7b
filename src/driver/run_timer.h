#pragma once

#include <cstdint>
#include <string>

#include "driver/cmd_params.h"

namespace kest {

// Closes the display at the end of a run and tells how long it took, if that was asked for. Ends behind the options,
// and so knows nothing of them by then.
class run_timer {
public:
    explicit run_timer(const cmd_params& options);
    ~run_timer();
    run_timer(const run_timer&) = delete;
    run_timer& operator=(const run_timer&) = delete;

private:
    bool m_clear_line;
    bool m_profile;              // the time goes to the standard error stream
    std::string m_profile_path;  // and to this diagnostic file; empty: none
    std::uint64_t m_start_ticks = 0;
};

}  // namespace kest
