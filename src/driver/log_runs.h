#pragma once

#include <memory>
#include <string>

#include "inputs/case_sets.h"
#include "options/logfile_options.h"
#include "report/report.h"

namespace kest {

// What there is to say of a run besides its report.
struct run_findings {
    bool unreadable = false;  // some input not to its end, or some log of a list with `-strict`: the run reports on the
                              // rest, and fails
    bool unwritten = false;   // some content
    argument_list said_unreadable;  // each once
    limits_hit omitted;
    events_left_out left_out;
};

// What a run works with. The results file is open, and the run's header stands in it.
struct run_context {
    const logfile_options& options;
    run_outputs& outputs;
    log_report& report;
    run_findings& findings;
};

// Reads the inputs and reports on them: on one log, on a log with an MFT or a journal, each read on a thread of its
// own, or on a list of logs one after another. False if there was no report, which has been said. Inputs that do not
// fit the log are reported in an extended run; with `-strict` they are refused before it, see below.
[[nodiscard]] bool report_logs(const run_context& run);

// What was read of a set, and a line for each input that does not fit its log.
struct read_set {
    std::unique_ptr<evidence> stores;  // null: there is nothing to read for this report
    std::string misfits;
};
// Reads the inputs of a set of a case. Of the files that may belong to its log the first that fits it becomes an input
// of `options`, which are the run's; if none does there is none.
read_set read_inputs_of_set(const run_context& run, logfile_options& options, const case_set& set);

// Says that the log holds no record, or cannot be opened, and notes it.
void say_empty_log(const run_context& run, const evidence& stores);

enum class set_outcome { reported, failed, nothing };
// Reports on a set of a case. A failure has been said.
set_outcome report_set(const run_context& run, logfile_options& options, const case_set& set);

// Says it whatever the options say, and notes it.
void say_reading_failed(const run_context& run, const std::string& path);

// For `-strict`: reads the inputs before all work, and gives a line for each that does not fit the log. Nothing, too,
// where that cannot be known, or an input cannot be opened: the run says that.
std::string misfits_of_inputs(logfile_options options);

}  // namespace kest
