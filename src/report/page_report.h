#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "coverage/coverage.h"
#include "events/event.h"
#include "options/logfile_options.h"
#include "portable/file.h"
#include "report/event_choice.h"
#include "report/event_fields.h"
#include "report/page_sink.h"
#include "report/provenance.h"

namespace kest {

// The page of `-page`: one HTML file that shows the events of one log after another in a browser. What it was made of
// and the events stand in it as data, between the two halves of a template that the build makes from `page/`.
class page_report {
public:
    page_report(const logfile_options& options, uni::file& target);

    // What the log covers, of stores as they were read; asked for once for each log.
    void survey(evidence& stores, std::string_view log_path);
    void begin_log(const provenance& made_of, std::string_view log_path);
    void write(const event& shown) { m_lines->write(shown); }
    // `limits` says what guards have left out. False if the page is not whole.
    [[nodiscard]] bool finish(std::string_view limits, const events_left_out& left_out);

    bool surveyed() const { return m_coverage.has_value(); }

private:
    const logfile_options& m_options;
    uni::fileio_output m_page;
    const field_list<event_line> m_fields;
    page_sink m_sink;
    std::optional<log_coverage> m_coverage;  // of the log that comes next
    std::optional<event_lines> m_lines;
};

// Why there can be no page in this run, as a line for the operator; empty if there can.
std::string words_on_page(const logfile_options& options);

}  // namespace kest
