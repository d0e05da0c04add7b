#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "events/event.h"
#include "format/result_row.h"
#include "operations/details_writer.h"
#include "options/logfile_options.h"
#include "report/time_column.h"

namespace kest {

// The columns of an event's row, in order.
std::vector<row_column> event_columns();

// Writes a row for each event of one log.
class event_rows {
public:
    event_rows(const logfile_options& options, std::string_view log_path, row_writer& rows);

    void tell(const event& told);

private:
    void write_known_number(std::size_t column, std::uint64_t value);

    const logfile_options& m_options;
    row_writer& m_rows;
    result_row m_row;
    time_column m_times;
    details_writer m_details;
    std::string m_log;
    std::string m_journal;
};

}  // namespace kest
