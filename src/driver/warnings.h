#pragma once

#include <string>

#include "journal/journal_cursor.h"
#include "logfile/log_store.h"
#include "options/argument_list.h"
#include "options/logfile_options.h"
#include "outputs/run_outputs.h"
#include "portable/folder_walk.h"

namespace kest {

// What of a run may not be what its operator means: a line each, for the standard error stream; empty if there is
// nothing. With `-strict` each of them is an error, otherwise a hint.

// Whether hints are said: in extended runs, and in others to somebody who reads along on a terminal. Neither with
// `-quiet`, nor with `-strict`, where they are no hints.
bool says_hints(const logfile_options& options);
void say_hints(const logfile_options& options, const std::string& warnings);

// What was noted while the options were read, arguments that nobody took, and inputs that look like another kind.
// `left` is what the options have left.
std::string warnings_of_arguments(const logfile_options& options, const argument_list& left);

// With `-strict`, what takes reading, before all work: the log, or the folders of a list.
std::string warnings_of_contents(const logfile_options& options);

// Of two results files the one that stays as it is.
std::string warnings_of_outputs(const run_outputs& outputs);
// A log of a list that looks like another kind.
std::string warnings_of_listed_file(const std::string& path);
// A journal file as it was read: without a record, or with bytes that are in none.
std::string warnings_of_journal(const journal_reading& reading, const std::string& path);
// A log as it was parsed: without a record, of a volume with other clusters than rows reckon with, or than
// `-cluster_size` says.
std::string warnings_of_log(const log_store& store, const std::string& path, const logfile_options& options);
// Folders that a list left out, when it has ended.
std::string warnings_of_folders(const cvportdir::folder_walk& folders);

}  // namespace kest
