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

// The text of the time column: the report's format with nine digits of fraction. The last text is kept, since most
// rows show the time of the row before.
class time_column {
public:
    explicit time_column(cv::format_flags flags) : m_flags(flags) {
        constexpr std::uint8_t nine_digits = 9 << 1;
        constexpr std::uint8_t fraction_bits = 0x1E;
        m_flags.time = static_cast<std::uint8_t>((m_flags.time & ~fraction_bits) | nine_digits);
    }

    const std::string& text(std::uint64_t ticks) {
        if (ticks != m_ticks) {
            m_text.clear();
            cv::append_time(m_text, ticks, m_flags);
            m_ticks = ticks;
        }
        return m_text;
    }

private:
    cv::format_flags m_flags;
    std::uint64_t m_ticks = 0;
    std::string m_text;  // of `m_ticks`; none for 0
};

// Writes lines as rows of cells.
class cell_sink : public field_sink {
public:
    cell_sink(const logfile_options& options, std::vector<row_column> columns, uni::fileio_output& report_sink);

    void begin_report() override { m_rows.write_header(); }
    void begin_line() override { m_row.clear(); }
    void end_line() override { m_rows.emit_row(m_row); }

    void text(std::string_view value) override { m_row.show_text(m_column, value); }
    void evidence(std::string_view value) override;
    void path(std::string_view value, bool guess) override;
    void number(std::uint64_t value) override { m_row.set_number(m_column, value); }
    void wide_number(std::uint64_t value) override { m_row.set_wide_number(m_column, value); }
    void decimal(std::uint64_t value) override;
    void truth(bool value) override;
    void time(std::uint64_t ticks) override;
    void details(std::string_view value) override { text(value); }
    std::string& begin_text() override { return m_row.text(m_column); }
    void end_text() override {}

private:
    const logfile_options& m_options;
    row_writer m_rows;
    result_row m_row;
    std::vector<time_column> m_times;  // by column
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
