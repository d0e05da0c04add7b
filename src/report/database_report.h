#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "outputs/results_file.h"
#include "portable/database.h"
#include "report/database_sink.h"
#include "report/event_fields.h"
#include "report/event_report.h"

namespace kest {

// The database of `-db`: what each log is and covers, and its events and runs of clusters, or its rows. All of it is
// one transaction. docs/database.md describes the tables.
class database_report : public event_report {
public:
    // `target` is open, and the database takes its place.
    database_report(const logfile_options& options, const results_file& target);

    void begin_log(const log_source& source) override;
    void write(const event& shown) override;
    bool takes_clusters() const override { return m_is_of_events; }
    field_sink* row_sink() override { return m_is_of_events ? nullptr : &*m_rows; }
    [[nodiscard]] bool finish(std::string_view limits, const events_left_out& left_out) override;

private:
    bool open(const results_file& target);
    void put_volume(const log_source& source);
    void put_coverage(const log_coverage& coverage);

    const bool m_is_of_events;
    const field_list<event_line> m_event_fields;
    const field_list<event_line> m_extent_fields;
    uni::database m_database;
    std::optional<database_sink> m_events, m_extents, m_rows;
    std::optional<event_lines> m_event_lines, m_extent_lines;  // of the log at hand
};

// Why there can be no database in this run, as a line for the operator; empty if there can.
std::string words_on_database(const logfile_options& options);

}  // namespace kest
