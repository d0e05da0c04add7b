#pragma once

#include <string>
#include <string_view>

#include "events/event.h"
#include "format/json.h"
#include "operations/details_writer.h"
#include "options/logfile_options.h"

namespace kest {

// Writes each event of one log as a JSON object: what `event_rows` tells, and what servers of timelines ask for.
class event_lines {
public:
    event_lines(const logfile_options& options, std::string_view log_path, uni::fileio_output& report_sink)
        : m_options(options), m_line(report_sink) {
        append_safe_text(m_log_path, log_path);
        append_safe_text(m_journal_path, options.jrnl_path);
    }

    void tell(const event& told);

private:
    void write_for_timelines(const event& told);
    // A text that `append` appends; nothing for an empty one.
    template <class appender>
    void write_built(std::string_view key, appender&& append);

    const logfile_options& m_options;
    json_writer m_line;
    std::string m_log_path;
    std::string m_journal_path;
    details_writer m_details;
    text_room m_room;    // scratch
    std::string m_text;  // likewise
};

}  // namespace kest
