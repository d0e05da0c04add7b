#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "format/result_row.h"
#include "format/text_style.h"
#include "portable/file.h"

namespace kest {

enum class output_shape { text, xml, csv, csvl2t, csvgen, bodyfile, multiline };

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

// What the options say that are common to a family of tools.
struct cmd_params : text_style, row_style {
    std::string out_path;  // results file; empty: standard output
    output_shape shape = output_shape::text;
    bool show_progress = true;
    bool profile = false;
    std::string current_file;  // being reported in a multi-file run

    bool pipe_mode = false;
    bool enumdir_mode = false;
    std::string enumdir_path;
    std::uint32_t num_subdirs = 0;
    std::vector<path_filter> filters;
    time_bound start_bound;
    time_bound stop_bound;

    // The diagnostic file of `-diags`.
    std::string diags_path;
    std::uint32_t diags_level = 0;
    std::unique_ptr<uni::file> diags_file;
    bool diags_on() const { return diags_file != nullptr; }
};

// Writes "->", the text and a line end to the diagnostic file, if there is one.
void diag_trace(cmd_params& options, std::string_view text);
// The same, if the diagnostic level is at least `level`.
void diag_print(cmd_params& options, std::uint32_t level, std::string_view text);

}  // namespace kest
