#include "report/field.h"

#include <algorithm>

#include "format/ascii_text.h"
#include "options/warning_line.h"
#include "portable/file.h"

namespace kest {

namespace {

bool is_usual(field_presence presence, const logfile_options& options) {
    switch (presence) {
        case field_presence::every:
            return true;
        case field_presence::objects:
        case field_presence::servers:
            return options.shape == output_shape::jsonl;
        case field_presence::undo:
            return options.show_undo;
        case field_presence::sets:
            return options.lists_sets();
    }
    return true;
}

std::size_t find_title(std::span<const field_title> titles, std::string_view name) {
    const auto found =
        std::ranges::find_if(titles, [name](const field_title& title) { return equal_folded(title.name, name); });
    return static_cast<std::size_t>(found - titles.begin());
}

std::vector<field_title> titles_of_lines(report_kind report) {
    switch (report) {
        case report_kind::events:
            return titles_of_events();
        case report_kind::extents:
            return titles_of_extents();
        case report_kind::contents:
            return titles_of_contents();
        case report_kind::volumes:
            return titles_of_volumes();
        default:
            return titles_of_rows();
    }
}

}  // namespace

std::string volume_of(const logfile_options& options, std::string_view log_path) {
    if (!options.volume.empty()) return options.volume;
    // Tables are joined by it, and one folder may hold the logs of several volumes.
    if (options.writes_database && options.lists_logs()) return std::string(log_path);
    return std::string(uni::folder_of(log_path.empty() ? options.journal.path : log_path));
}

std::vector<std::size_t> chosen_fields(std::span<const field_title> titles, const logfile_options& options) {
    std::vector<std::size_t> chosen;
    for (const std::string& name : options.columns)
        chosen.push_back(find_title(titles, name));
    if (!chosen.empty()) return chosen;
    for (std::size_t index = 0; index < titles.size(); ++index) {
        if (is_usual(titles[index].presence, options)) chosen.push_back(index);
    }
    return chosen;
}

std::string words_on_columns(const logfile_options& options) {
    if (options.columns.empty()) return {};
    if (!options.has_lines() || !shows_lines(options.shape)) {
        return "-columns is for rows, events, -extents, -content and -list only\n";
    }
    const std::vector<field_title> titles = titles_of_lines(options.report);
    std::vector<std::size_t> chosen;
    for (const std::string& name : options.columns) {
        const std::size_t index = find_title(titles, name);
        if (index == titles.size()) return warning_line("no such column", name);
        if (std::ranges::find(chosen, index) != chosen.end()) return warning_line("column named twice", name);
        chosen.push_back(index);
    }
    return {};
}

}  // namespace kest
