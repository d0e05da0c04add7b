#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "format/json.h"
#include "format/result_row.h"
#include "format/time.h"
#include "options/logfile_options.h"
#include "report/field.h"

namespace kest {

// What `row_writer` asks of each column. With `marks_separators` no value of any looks like two.
std::vector<row_column> columns_of(std::span<const field_title> titles, bool marks_separators);

// Writes lines as rows of cells.
class cell_sink : public field_sink {
public:
    cell_sink(const logfile_options& options, std::vector<row_column> columns, uni::fileio_output& report_sink);

    void begin_report() override { m_rows.write_header(); }
    void begin_line() override { m_rows.begin_line(); }
    void end_line() override { m_rows.end_line(); }

    void text(std::string_view value) override { m_rows.text(m_column, value); }
    void evidence(std::string_view value) override;
    void path(std::string_view value, bool guess) override;
    void number(std::uint64_t value) override { m_rows.number(m_column, value); }
    void wide_number(std::uint64_t value) override { m_rows.wide_number(m_column, value); }
    void decimal(std::uint64_t value) override;
    void truth(bool value) override;
    void time(std::uint64_t ticks) override { m_rows.time(m_column, m_times[m_column].text(ticks)); }
    void details(std::string_view value) override { text(value); }
    std::string& begin_text() override;
    void end_text() override { text(m_text); }

private:
    row_writer m_rows;
    std::vector<cv::time_texts> m_times;  // by column
    std::string m_text;                   // that is built in place
};

// Writes lines as JSON objects.
class object_sink : public field_sink {
public:
    explicit object_sink(uni::fileio_output& report_sink) : m_line(report_sink) {}

    void begin_report() override {}
    void begin_line() override { m_line.begin_line(); }
    void end_line() override { m_line.end_line(); }

    void text(std::string_view value) override { m_line.text_if_any(m_name, value); }
    void evidence(std::string_view value) override { text(value); }
    void path(std::string_view value, bool) override { text(value); }
    void number(std::uint64_t value) override { m_line.number(m_name, value); }
    void wide_number(std::uint64_t value) override { number(value); }
    void decimal(std::uint64_t value) override { number(value); }
    void truth(bool value) override { m_line.truth(m_name, value); }
    void time(std::uint64_t ticks) override { m_line.time(m_name, ticks); }
    void latest_time(std::uint64_t ticks) override { time(whole_microseconds(ticks)); }
    void details(std::string_view value) override {
        if (!value.empty()) m_line.object(m_name, value);
    }
    std::string& begin_text() override;
    void end_text() override { text(m_text); }

private:
    json_writer m_line;
    std::string m_text;  // that is built in place
};

// The sink for lines of one kind in the shape that the options ask for; null for a shape without lines.
// `marks_separators`: as for `columns_of`.
std::unique_ptr<field_sink> make_sink(const logfile_options& options, const std::vector<field_title>& titles,
                                      bool marks_separators, uni::fileio_output& report_sink);

}  // namespace kest
