#pragma once

#include <string>

#include "logfile/log_store.h"
#include "options/argument_list.h"
#include "options/logfile_options.h"

namespace kest {

// What of a run may not be what its operator means: a line each, to be told on the standard error stream; empty if
// there is nothing. With `-strict` each of them is an error.

// Of two results files the one that stays as it is.
std::string doubts_of_outputs(const run_outputs& outputs);

// Arguments that nobody took, and inputs that look like another kind. `left` is what the options have left.
std::string doubts_of_arguments(const logfile_options& options, const argument_list& left);

// With `-strict`, what takes reading, ahead of all work: the log, or the folders of a list.
std::string doubts_of_contents(const logfile_options& options);

// A log of a list that looks like another kind.
std::string doubts_of_listed_file(const std::string& path);
// A log as it was parsed: without a record, or of a volume with other clusters than rows reckon with.
std::string doubts_of_log(const log_store& store, const std::string& path, const logfile_options& options);

}  // namespace kest
