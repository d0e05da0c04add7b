#include "report/columns.h"

namespace kest {

namespace {

constexpr std::string_view certain_path_title = "path";
constexpr std::string_view guessed_path_title = "path (*guess)";

struct column_row {
    std::string_view title;
    std::size_t width;  // bytes
    bool words_alone = true;
};

// In the order of `column_ids`.
constexpr column_row report_columns[] = {
    {"time", 30},        {"ref", 30},
    {"action", 31},      {"lsn", 12},
    {"level", 8},        {"op_pattern", 30},
    {"op_name", 28},     {"lcn", 10},
    {"inode", 12},       {"seq", 12},
    {"parent", 12},      {"parent_seq", 13},
    {"path", 25, false}, {"details", 12, false},
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
