#include "report/columns.h"

namespace kest {

namespace {

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
constexpr column_row columns[] = {
    {"time", 30, words},    {"ref", 30, words},        {"action", 31, words},  {"lsn", 12, words},
    {"level", 8, words},    {"op_pattern", 30, words}, {"op_name", 28, words}, {"lcn", 10, words},
    {"inode", 12, words},   {"seq", 12, words},        {"parent", 12, words},  {"parent_seq", 13, words},
    {"path", 25, evidence}, {"details", 12, evidence}, {"undo", 12, evidence},
};
static_assert(std::size(columns) == column_ids::undo + 1);

}  // namespace

std::vector<row_column> report_columns(bool guesses_allowed, bool show_undo) {
    std::vector<row_column> out;
    for (const column_row& row : columns)
        out.push_back({std::string(row.title), row.width, row.words_alone});
    out[column_ids::undo].marks_separator = true;
    if (!show_undo) out.pop_back();
    if (guesses_allowed) out[column_ids::path].title = guessed_path_title;
    return out;
}

}  // namespace kest
