#pragma once

#include <memory>
#include <optional>
#include <string>

#include "format/result_row.h"
#include "inputs/evidence.h"
#include "options/logfile_options.h"
#include "outputs/content_folder.h"
#include "outputs/diagnostics.h"
#include "portable/file.h"
#include "report/event_choice.h"
#include "report/event_fields.h"
#include "report/event_report.h"
#include "report/event_summary.h"
#include "report/provenance.h"
#include "report/row_fields.h"
#include "report/screen_lines.h"

namespace kest {

// The report of a run on one log after another: a row for each record of each transaction or for each event, a table of
// how often each operation occurs, or what the log covers, as the options say. Titles are written once. All arguments
// must outlive it.
class log_report {
public:
    // `further` are reports beside this one, or in place of it.
    log_report(const logfile_options& options, diagnostics& diags, uni::fileio_output& report_sink,
               std::vector<event_report*> further);

    // Of lines that have any.
    void write_titles();

    // What the log covers, for further reports: before the stores are combined.
    void survey(evidence& stores);

    // Reports on the parsed log. `current_file` names it where a run has several.
    void write(evidence& stores, std::string_view current_file);
    // That -provenance could not read to their ends.
    const argument_list& unread_inputs() const { return m_unread_inputs; }
    const events_left_out& left_out() const { return m_choice.left_out(); }

    // Which of the files that contents go to could not be written, and why; empty: none.
    std::string unwritten_contents() const;

private:
    void survey(evidence& stores, std::string_view log_path);
    bool writes_json() const { return m_options.shape == output_shape::jsonl; }
    void open_lines(const std::vector<field_title>& titles);
    void begin_further(std::string_view log_path, const provenance& made_of);
    void report_entries(evidence& stores, std::string_view log_path);
    bool put_content(const event& shown);
    void report_events(evidence& stores, std::string_view log_path);
    void report_summary(const event_summary& summary, const events_left_out& before);
    void report_statistics(const evidence& stores, std::string_view current_file);
    void report_coverage(evidence& stores, std::string_view log_path, const std::optional<provenance>& made_of);

    std::optional<content_folder> m_contents;
    const logfile_options& m_options;
    diagnostics& m_diags;
    uni::fileio_output& m_sink;
    const std::vector<event_report*> m_further;
    std::optional<log_coverage> m_coverage;  // of the log that comes next
    std::optional<row_writer> m_counts;      // of statistics; none in a shape without rows
    std::optional<screen_lines> m_screen;
    std::unique_ptr<field_sink> m_lines;  // of rows or events; none likewise
    details_notation m_notation = details_notation::none;
    field_list<row_line> m_row_fields;
    field_list<event_line> m_event_fields;
    argument_list m_unread_inputs;
    event_choice m_choice;
};

}  // namespace kest
