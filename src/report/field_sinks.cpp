#include "report/field_sinks.h"

#include <utility>

#include "format/number.h"
#include "format/safe_text.h"

namespace kest {

std::vector<row_column> columns_of(std::span<const field_title> titles, bool marks_separators) {
    std::vector<row_column> columns;
    for (const field_title& title : titles)
        columns.push_back({std::string(title.name), title.width, title.words_only(),
                           marks_separators || title.presence == field_presence::undo});
    return columns;
}

cell_sink::cell_sink(const logfile_options& options, std::vector<row_column> columns, uni::fileio_output& report_sink)
    : m_rows(report_sink, options, options.base16, std::move(columns)),
      m_times(m_rows.columns(), cv::time_texts(cv::with_nine_digits(options.time_format))) {}

std::string& cell_sink::begin_text() {
    m_text.clear();
    return m_text;
}

void cell_sink::evidence(std::string_view value) {
    append_safe_text(begin_text(), value);
    end_text();
}

void cell_sink::path(std::string_view value, bool guess) {
    if (!guess) return text(value);
    begin_text().append(1, '*').append(value);
    end_text();
}

void cell_sink::decimal(std::uint64_t value) {
    append_decimal(begin_text(), value);
    end_text();
}

void cell_sink::truth(bool value) {
    if (value) text("yes");
}

std::string& object_sink::begin_text() {
    m_text.clear();
    return m_text;
}

std::unique_ptr<field_sink> make_sink(const logfile_options& options, const std::vector<field_title>& titles,
                                      bool marks_separators, uni::fileio_output& report_sink) {
    if (options.shape == output_shape::jsonl) return std::make_unique<object_sink>(report_sink);
    if (!has_rows(options.shape) && !options.is_timeline()) return nullptr;
    return std::make_unique<cell_sink>(options, columns_of(titles, marks_separators), report_sink);
}

}  // namespace kest
