#pragma once

#include <span>
#include <string>
#include <string_view>

#include "events/event.h"
#include "operations/details_writer.h"
#include "report/field.h"

namespace kest {

// An event, and the names of what it rests on.
struct event_line {
    const event& shown;
    std::string_view log;  // paths of the files, in words where they hold what could mislead
    std::string_view journal;
    std::string_view volume;
    std::string_view details;
    bool of_several;  // the run may be on several volumes
};

// The fields of an event, in order.
std::span<const field<event_line>> event_fields();
// Those of these names, in this order; those that are not `own` are an event's.
std::vector<field<event_line>> choose_event_fields(std::span<const std::string_view> names,
                                                   std::span<const field<event_line>> own);

// Writes a line for each event of one log. All arguments must outlive it.
class event_lines {
public:
    // Where there is no log, `log_path` is empty.
    event_lines(const logfile_options& options, std::string_view log_path, const field_list<event_line>& fields,
                details_notation notation, field_sink& out);

    void write(const event& shown);

    // As the lines have it, and the path of the log likewise.
    std::string_view volume() const { return m_volume; }
    std::string_view log() const { return m_log; }

private:
    field_sink& m_out;
    const field_list<event_line>& m_fields;
    std::string m_log;
    std::string m_journal;
    std::string m_volume;
    const bool m_of_several;
    const std::unique_ptr<details_writer> m_details;
};

}  // namespace kest
