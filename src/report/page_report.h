#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "portable/file.h"
#include "report/event_fields.h"
#include "report/event_report.h"
#include "report/page_sink.h"

namespace kest {

// The page of `-page`: one HTML file that shows the events of one log after another in a browser. What it was made of
// and the events stand in it as data, between the two halves of a template that the build makes from `page/`.
class page_report : public event_report {
public:
    explicit page_report(uni::file& target);

    void begin_log(const log_source& source) override;
    void write(const event& shown) override { m_lines->write(shown); }
    [[nodiscard]] bool finish(std::string_view limits) override;

private:
    uni::fileio_output m_page;
    const field_list<event_line> m_fields;
    page_sink m_sink;
    std::optional<event_lines> m_lines;
};

// Why there can be no page in this run, as a line for the operator; empty if there can.
std::string words_on_page(const logfile_options& options);

}  // namespace kest
