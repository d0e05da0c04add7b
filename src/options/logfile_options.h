#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "options/cmd_params.h"

namespace kest {

// What the options say. Constant once the arguments are read.
struct logfile_options : cmd_params {
    std::string log_path;
    std::string mft_path;
    std::string jrnl_path;
    bool have_log = false;
    bool have_mft = false;
    bool have_jrnl = false;
    bool guesses_allowed = true;
    bool showall_inodes = false;
    bool strict = false;  // what is said as a hint otherwise is an error
    bool stats_requested = false;
    bool show_coverage = false;  // what the log covers, in place of rows
    bool show_undo = false;      // a column of its own for what each record would put back
    bool show_cut = false;       // transactions whose beginning is lost too
    bool show_events = false;
    std::vector<std::string> columns;           // in this order; empty: the usual ones
    bool show_provenance = false;               // what a report was made of, before it
    argument_list command_line;                 // as it was given; set with `show_provenance` only
    std::optional<std::uint32_t> cluster_size;  // bytes; nothing: the usual one, or
    bool told_cluster_size = false;             // what the log tells

    bool tells_events() const { return show_events && !stats_requested && !show_coverage; }
    // Whether the run is headed by what it is: nothing but titles stands before the first line of a table.
    bool has_banner() const { return shape != output_shape::jsonl && !quotes; }
    // A journal file is told of in events, too. A list of logs has none.
    bool tells_journal() const { return tells_events() && !jrnl_path.empty(); }
    // The report reads the journal file by itself, record for record, and nothing of it is kept.
    bool streams_journal() const { return (tells_events() || show_coverage) && !jrnl_path.empty(); }
    bool has_source() const {
        const bool has_input = lists_logs() || !log_path.empty() || !mft_path.empty() || !jrnl_path.empty();
        return has_input && (have_log || tells_journal());
    }
};

// Takes the common options and then the program's own out of the list; what is left is ignored. False likewise.
[[nodiscard]] bool parse_options(logfile_options& options, run_outputs& outputs, argument_list& args);

}  // namespace kest
