#include "report/columns.h"

namespace kest {

namespace {

constexpr std::string_view certain_path_title = "path";
constexpr std::string_view guessed_path_title = "path (*guess)";

// What a column holds: words and numbers of ours, or names and data out of the evidence.
constexpr bool words = true;
constexpr bool evidence = false;

struct column_row {
    std::string_view title;
    std::size_t width;  // bytes
    bool words_alone;
};

// In the order of `column_ids`.
constexpr column_row report_columns[] = {
    {"time", 30, words},    {"ref", 30, words},        {"action", 31, words},  {"lsn", 12, words},
    {"level", 8, words},    {"op_pattern", 30, words}, {"op_name", 28, words}, {"lcn", 10, words},
    {"inode", 12, words},   {"seq", 12, words},        {"parent", 12, words},  {"parent_seq", 13, words},
    {"path", 25, evidence}, {"details", 12, evidence},
};
static_assert(std::size(report_columns) == column_ids::details + 1);

}  // namespace

void report_header(logfile_options& options, uni::fileio_output& report_sink) {
    if (!options.header_line) return;
    if (options.shape == output_shape::csvl2t || options.shape == output_shape::bodyfile) return;
    for (const column_row& row : report_columns) {
        options.columns.push_back({std::string(row.title), options.no_whitespace ? 0 : row.width, row.words_alone});
    }
    options.columns[column_ids::path].title = options.guesses_allowed ? guessed_path_title : certain_path_title;
    write_header_line(report_sink, options);
}

}  // namespace kest
