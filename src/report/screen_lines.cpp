#include "report/screen_lines.h"

#include <algorithm>

#include "format/safe_text.h"
#include "portable/host.h"
#include "report/event_words.h"

namespace kest {

namespace {

constexpr std::size_t clock_width = 10, event_width = 21, state_width = 6;  // bytes

bool wants_colours() {
    return uni::environment_value("NO_COLOR").value_or("").empty() && uni::environment_value("TERM") != "dumb";
}

constexpr std::string_view green = "\x1b[32m", red = "\x1b[31m", yellow = "\x1b[33m", cyan = "\x1b[36m",
                           blue = "\x1b[34m", magenta = "\x1b[1;35m", faint = "\x1b[2m", plain = "\x1b[0m";

std::string_view colour_of(const event& shown) {
    if (!state_word(shown).empty() && shown.state == event_state::undone) return faint;
    switch (shown.kind) {
        case event_kind::created:
        case event_kind::link_added:
        case event_kind::stream_added:
        case event_kind::restored:
            return green;
        case event_kind::deleted:
        case event_kind::link_removed:
        case event_kind::stream_removed:
        case event_kind::recycled:
            return red;
        case event_kind::renamed:
        case event_kind::moved:
            return cyan;
        case event_kind::written:
        case event_kind::resized:
            return yellow;
        case event_kind::mounted:
        case event_kind::journal_created:
        case event_kind::journal_resized:
        case event_kind::volume_flags_set:
        case event_kind::volume_renamed:
            return blue;
        case event_kind::times_set:
        case event_kind::mft_differs:
        case event_kind::journal_deleted:
        case event_kind::clock_set_back:
            return magenta;
        default:
            return {};
    }
}

}  // namespace

screen_lines::screen_lines(const logfile_options& options, uni::fileio_output& screen)
    : m_time_format(options.time_format),
      m_colours(wants_colours()),
      m_time_width(cv::time_text(cv::now(), m_time_format).size()),
      m_screen(screen),
      m_titles_due(options.has_titles) {}

void screen_lines::append_padded(std::string_view text, std::size_t width) {
    m_line.append(text).append(std::max(text.size(), width) - text.size() + 2, ' ');
}

void screen_lines::begin_report(std::string_view current_file) {
    m_line.clear();
    if (m_titles_due) {
        append_padded("time", m_time_width);
        append_padded("clock", clock_width);
        append_padded("event", event_width);
        append_padded("state", state_width);
        m_line += "path\n";
    }
    m_titles_due = false;
    if (!current_file.empty()) {
        append_safe_text(m_line, current_file);
        m_line += ":\n";
    }
    m_screen.write(m_line);
}

void screen_lines::write(const event& shown) {
    m_line.clear();
    m_text.clear();
    cv::append_time(m_text, shown.time, m_time_format);
    append_padded(m_text, m_time_width);
    append_padded(clock_word(shown), clock_width);
    const std::string_view colour = m_colours ? colour_of(shown) : std::string_view();
    m_line += colour;
    m_text.clear();
    append_event_word(m_text, shown);
    append_padded(m_text, event_width);
    append_padded(state_word(shown), state_width);
    if (!shown.old_path.empty()) m_line.append(shown.old_path).append(" -> ");
    m_line += shown.path;
    if (!colour.empty()) m_line += plain;
    m_screen.write(m_line += '\n');
}

}  // namespace kest
