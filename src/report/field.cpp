#include "report/field.h"

#include <algorithm>

#include "format/ascii_text.h"
#include "options/warning_line.h"

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
    }
    return true;
}

std::size_t find_title(std::span<const field_title> titles, std::string_view name) {
    const auto found =
        std::ranges::find_if(titles, [name](const field_title& title) { return equal_folded(title.name, name); });
    return static_cast<std::size_t>(found - titles.begin());
}

}  // namespace

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
        return "-columns is for rows, events and -list only\n";
    }
    const std::vector<field_title> titles = options.report == report_kind::events    ? titles_of_events()
                                            : options.report == report_kind::volumes ? titles_of_volumes()
                                                                                     : titles_of_rows();
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
