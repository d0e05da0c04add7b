#pragma once

#include <string>
#include <string_view>

#include "events/event.h"
#include "options/logfile_options.h"
#include "portable/file.h"

namespace kest {

// Events for somebody who reads them on a terminal: few columns, the paths before and after in one, in colours by what
// happened unless the environment says NO_COLOR.
class screen_lines {
public:
    screen_lines(const logfile_options& options, uni::fileio_output& screen);

    // `current_file` names the log where a run has several. Titles are written once.
    void begin_report(std::string_view current_file);
    void write(const event& shown);

private:
    void append_padded(std::string_view text, std::size_t width);

    const cv::format_flags m_time_format;
    const bool m_colours;
    const std::size_t m_time_width;
    uni::fileio_output& m_screen;
    bool m_titles_due;
    std::string m_line;
    std::string m_text;  // of one column
};

}  // namespace kest
