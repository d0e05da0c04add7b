#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "format/result_row.h"
#include "format/time.h"
#include "inputs/read_inputs.h"
#include "options/argument_list.h"
#include "options/event_criteria.h"
#include "options/path_filter.h"
#include "outputs/run_outputs.h"

namespace kest {

enum class output_shape { text, xml, csv, csvl2t, csvgen, bodyfile, multiline, jsonl };

// Whether a report in this shape is lines of cells.
// Kept: three shapes have no report rows. A run in one of them writes the run's header and the statistics only. Of
// events two of these are timelines.
constexpr bool has_rows(output_shape shape) {
    return shape != output_shape::jsonl && shape != output_shape::xml && shape != output_shape::csvl2t &&
           shape != output_shape::bodyfile;
}
// Whether a report in this shape has lines for rows in whatever way.
constexpr bool shows_lines(output_shape shape) {
    return has_rows(shape) || shape == output_shape::jsonl;
}

// What is written of a log: a line for each of its records, for each event, for each run of clusters that a file got or
// lost, for each content that it holds, what its events come to, how often each operation occurs, or what the log
// covers; or which volumes there are.
enum class report_kind { rows, summary, events, extents, contents, statistics, coverage, volumes };

// What the options say. Constant once the arguments are read.
struct logfile_options : text_style, row_style, input_settings {
    output_shape shape = output_shape::text;
    report_kind report = report_kind::rows;
    std::vector<std::string> columns;  // in this order; empty: the usual ones
    bool guesses_allowed = true;
    bool system_events = true;  // also those of what the system does by itself
    event_selection selection;  // of events, runs of clusters or contents
    bool showall_inodes = false;
    bool auto_cluster_size = false;
    bool show_undo = false;        // a column of its own for what each record would put back
    bool show_provenance = false;  // what a report was made of, before it
    bool writes_page = false;      // of the events, for a browser
    bool writes_database = false;
    bool writes_report = true;   // no page or database stands in its place
    bool for_screen = false;     // events, on a terminal: somebody reads them there
    argument_list command_line;  // as it was given; set where the output shows it

    std::string content_folder;              // where contents go
    std::string image_path;                  // the sources are streams of a volume in this image; empty: none
    std::optional<std::uint32_t> partition;  // that volume's; none: there is but one

    std::vector<std::string> case_paths;  // files, and folders to look for sets in
    bool names_paths = false;             // they were given by no option
    std::uint32_t jobs = 1;               // sets at work at the same time

    bool pipe_mode = false;
    bool enumdir_mode = false;
    std::string enumdir_path;
    std::uint32_t num_subdirs = 0;
    file_choice wanted;

    bool extended = false;  // some option is younger than the first reports; a run without one keeps its bytes
    bool strict = false;    // what is said as a hint otherwise is an error
    bool profile = false;
    bool value_refused = false;  // some option's value is no such value; that has been said
    bool says_hints = true;
    std::string warnings;  // lines: what else of the options may not be meant so. Of extended runs only

    // Whether the inputs are found by looking, and may be of several volumes.
    bool lists_sets() const { return names_paths || !case_paths.empty(); }
    bool lists_logs() const { return pipe_mode || enumdir_mode; }
    // Whether the report is of what the log's records prove.
    bool is_of_files() const { return report >= report_kind::events && report <= report_kind::contents; }
    // Whether it is made of events, of runs of clusters, or of contents.
    bool derives_events() const { return report == report_kind::summary || is_of_files(); }
    bool writes_events() const { return report == report_kind::summary || report == report_kind::events; }
    // Whether it is events in a form that timelines of many sources are put together from.
    bool is_timeline() const {
        return report == report_kind::events && (shape == output_shape::csvl2t || shape == output_shape::bodyfile);
    }
    // Whether the report is lines for records, for what they prove, or for volumes.
    bool has_lines() const { return report == report_kind::rows || is_of_files() || report == report_kind::volumes; }
    bool rows_to_database() const { return writes_database && report == report_kind::rows; }
    // Whether the run is headed by what it is: nothing but titles stands before the first line of a table.
    bool has_banner() const { return shape != output_shape::jsonl && !quotes && !is_timeline(); }
    // Events need no log where there is a journal file. A list of logs has none.
    bool has_source() const {
        const bool has_input = lists_logs() || log.given() || mft.given() || journal.given();
        return has_input && (have_log || (writes_events() && journal.given()));
    }
};

// Whether the arguments make an extended run.
bool is_extended(const argument_list& args);

// Takes the options out of the list, in a fixed order: so it does not matter in which order they are given, and of two
// that say the same thing the later one in that order wins. What is left is ignored. The diagnostic file is opened, and
// the results file is proved: neither is written to yet.
// False if the run cannot go on: words for the operator have been written where there are any.
[[nodiscard]] bool parse_options(logfile_options& options, run_outputs& outputs, argument_list& args);

// Every option, in groups, a line each.
std::string option_list();

}  // namespace kest
