#include "report/fields.h"

#include <algorithm>
#include <utility>

#include "format/number.h"
#include "format/safe_text.h"
#include "options/ascii_text.h"

namespace kest {

namespace {

bool is_usual(field_presence presence, const logfile_options& options) {
    switch (presence) {
        case field_presence::every:
            return true;
        case field_presence::objects:
            return options.as_json;
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

std::string line_on(std::string_view words, std::string_view shown) {
    std::string text(words);
    append_safe_text(text, shown);
    return text += '\n';
}

}  // namespace

std::vector<std::size_t> chosen_fields(std::span<const field_title> titles, const logfile_options& options) {
    std::vector<std::size_t> chosen;
    for (const std::string& name : options.columns)
        chosen.push_back(find_title(titles, name));
    if (!chosen.empty()) return chosen;
    for (std::size_t place = 0; place < titles.size(); ++place) {
        if (is_usual(titles[place].presence, options)) chosen.push_back(place);
    }
    return chosen;
}

std::string words_on_columns(const logfile_options& options) {
    if (options.columns.empty()) return {};
    if (options.stats_requested || options.show_coverage || !tells_rows(options.shape)) {
        return "-columns is for rows and events only\n";
    }
    const std::vector<field_title> titles = options.show_events ? titles_of_events() : titles_of_rows();
    std::vector<std::size_t> chosen;
    for (const std::string& name : options.columns) {
        const std::size_t place = find_title(titles, name);
        if (place == titles.size()) return line_on("no such column: ", name);
        if (std::ranges::find(chosen, place) != chosen.end()) return line_on("column named twice: ", name);
        chosen.push_back(place);
    }
    return {};
}

std::vector<row_column> columns_of(std::span<const field_title> titles, bool marks_separators) {
    std::vector<row_column> columns;
    for (const field_title& title : titles)
        columns.push_back({std::string(title.name), title.width, title.words_alone,
                           marks_separators || title.presence == field_presence::undo});
    return columns;
}

cell_sink::cell_sink(const logfile_options& options, std::vector<row_column> columns, uni::fileio_output& report_sink)
    : m_options(options),
      m_rows(report_sink, options, options.base16, std::move(columns)),
      m_row(m_rows.new_row()),
      m_times(m_row.cells().size(), time_column(options.time_format)) {}

void cell_sink::evidence(std::string_view value) {
    append_safe_text(m_row.text(m_column), value);
}

void cell_sink::path(std::string_view value, bool guess) {
    std::string& cell = m_row.text(m_column);
    if (guess) cell += '*';
    cell += value;
}

void cell_sink::number(std::uint64_t value) {
    append_number(m_row.text(m_column), value, m_options.base16);
}

void cell_sink::decimal(std::uint64_t value) {
    append_decimal(m_row.text(m_column), value);
}

void cell_sink::truth(bool value) {
    if (value) text("yes");
}

void cell_sink::time(std::uint64_t ticks) {
    m_row.show_time(m_column, m_times[m_column].text(ticks), !m_options.no_whitespace);
}

void object_sink::details(const details_writer& value) {
    const std::string_view members = value.members(m_room);
    if (!members.empty()) m_line.object(m_name, members);
}

std::string& object_sink::begin_text() {
    m_text.clear();
    return m_text;
}

}  // namespace kest
