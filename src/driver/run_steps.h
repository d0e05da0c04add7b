#pragma once

#include <string>
#include <string_view>

#include "options/evidence.h"
#include "options/logfile_options.h"
#include "options/run_outputs.h"
#include "report/report.h"

namespace kest {

// What there is to tell of a run besides its report.
struct run_findings {
    bool unreadable = false;  // some input not to its end, or some log of a list with `-strict`: the run reports on the
                              // rest, and fails
    argument_list said_unreadable;  // each once
    left_out omitted;
};

// What the kinds of runs work with. The results file is open, and the run's header stands in it.
struct run_context {
    const logfile_options& options;
    run_outputs& outputs;
    log_report& report;
    run_findings& findings;
};

// Scans a log and links its transactions, as the options want them. False, with nothing in the store, if it cannot be
// opened.
[[nodiscard]] bool parse_log(log_store& store, const std::string& path, const logfile_options& options);

// Tell the operator of a file at hand.
void say_parsing(const std::string& path);
// The reason is left out where it is empty, and in runs that are not extended.
void say_parsing_failed(const logfile_options& options, const std::string& path, std::string_view reason);
// Tells it whatever the options say, and notes it.
void say_reading_failed(const run_context& run, const std::string& path);

}  // namespace kest
