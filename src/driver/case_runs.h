#pragma once

#include <vector>

#include "driver/log_runs.h"
#include "inputs/case_sets.h"
#include "report/event_report.h"

namespace kest {

// Finds the sets of a case, those in images among them. What could not be looked at has been said, and makes the run
// fail at its end. False if there is no set, or if the run is writing to one.
[[nodiscard]] bool find_sets(const logfile_options& options, const run_outputs& outputs, case_contents& found,
                             run_findings& findings);

struct case_run {
    const logfile_options& options;
    run_outputs& outputs;
    uni::fileio_output& report_sink;
    const std::vector<event_report*>& further;
    run_findings& findings;
};

// Reports on one set after another, and then on the spare ones that turned out to belong to none of them; or on several
// at the same time: the output is the same. What fails costs that set only. False if there was no report.
[[nodiscard]] bool report_case(const case_run& run, const case_contents& found);

// Writes a line for each set. False if there was none.
[[nodiscard]] bool list_case(const case_run& run, const case_contents& found);

}  // namespace kest
