#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "format/result_row.h"
#include "format/text_style.h"
#include "options/argument_list.h"
#include "options/run_outputs.h"

namespace kest {

enum class output_shape { text, xml, csv, csvl2t, csvgen, bodyfile, multiline, jsonl };

// Whether a report in this shape is lines of cells.
// Kept: three shapes have no report rows. A run in one of them writes the run's header and the statistics alone.
constexpr bool has_rows(output_shape shape) {
    return shape != output_shape::jsonl && shape != output_shape::xml && shape != output_shape::csvl2t &&
           shape != output_shape::bodyfile;
}
// Whether it tells rows in whatever way.
constexpr bool tells_rows(output_shape shape) {
    return has_rows(shape) || shape == output_shape::jsonl;
}

// What a file of a list may match: what is empty does not count, and one hit is enough.
struct path_filter {
    std::string pattern;    // "*" and "?"; lower case
    std::string path;       // prefix; lower case
    std::string signature;  // bytes that stand at `offset`
    std::uint64_t offset = 0;
};

// One bound of `-cmd_start_time` and `-cmd_stop_time`, in ticks.
struct time_bound {
    bool set = false;
    std::uint64_t ticks = 0;
};

// What the options say that are common to a family of tools. Constant once the arguments are read.
struct cmd_params : text_style, row_style {
    output_shape shape = output_shape::text;
    bool extended = false;  // some option is younger than the first reports; a run without one keeps its bytes
    bool show_progress = true;
    bool profile = false;

    bool pipe_mode = false;
    bool enumdir_mode = false;
    std::string enumdir_path;
    std::uint32_t num_subdirs = 0;
    std::vector<path_filter> filters;
    time_bound start_bound;
    time_bound stop_bound;

    bool value_refused = false;  // some option's value is no such value; that has been said
    std::string warnings;        // lines: what else of the options may not be meant so. Of extended runs only

    bool lists_logs() const { return pipe_mode || enumdir_mode; }
};

// Says that a value is not taken, and notes it.
void say_value_refused(cmd_params& options, std::string_view words);
// Notes what may not be meant so.
void warn(cmd_params& options, std::string_view words, std::string_view shown);

// Takes the options common to a family of tools out of the list, in a fixed order: so it does not matter in which order
// they are given, and of two that say the same thing the later one in that order wins. What is left is for others. The
// diagnostic file is opened, and the results file is proved: neither is written to yet.
// False if the run cannot go on: words for the operator have been written where there are any.
[[nodiscard]] bool parse_common_options(cmd_params& options, run_outputs& outputs, argument_list& args);

}  // namespace kest
