#include "report/report.h"

#include "events/tell_events.h"
#include "report/columns.h"
#include "report/coverage_text.h"
#include "report/event_lines.h"
#include "report/event_rows.h"
#include "report/json_rows.h"
#include "report/provenance.h"
#include "report/rows.h"
#include "report/statistics.h"
#include "transactions/entry_progress.h"
#include "transactions/walk.h"

namespace kest {

log_report::log_report(const logfile_options& options, diagnostics& diags, uni::fileio_output& report_sink)
    : m_options(options), m_diags(diags), m_sink(report_sink) {
    if (options.stats_requested) {
        if (options.shape == output_shape::csv) {
            m_rows.emplace(report_sink, options, options.base16, statistics_columns());
        }
    } else if (has_rows(options.shape) && !options.show_coverage) {
        m_rows.emplace(
            report_sink, options, options.base16,
            options.show_events ? event_columns() : report_columns(options.guesses_allowed, options.show_undo));
    }
}

void log_report::write(evidence& stores, std::string_view current_file) {
    const std::string_view log_path = current_file.empty() ? m_options.log_path : current_file;
    const bool as_json = m_options.shape == output_shape::jsonl;
    const bool shows_provenance = m_options.show_provenance && (as_json || m_options.show_coverage);
    std::optional<provenance> made_of;
    if (shows_provenance) made_of = gather_provenance(m_options, log_path);
    if (made_of && as_json) write_provenance_object(*made_of, m_sink);
    if (m_rows) m_rows->write_header();
    if (m_options.show_coverage) {
        log_coverage coverage = gather_coverage(stores, m_options, log_path);
        coverage.made_of = std::move(made_of);
        if (as_json) {
            write_coverage_object(coverage, m_sink);
        } else {
            m_sink.write(coverage_text(coverage, m_options));
        }
    } else if (!m_options.stats_requested && m_options.show_events) {
        report_events(stores, log_path);
    } else if (!m_options.stats_requested) {
        report_entries(stores, log_path);
    } else if (as_json) {
        write_statistics_object(stores.log, log_path, m_sink);
    } else if (m_rows) {
        write_statistics_row(stores.log, current_file, m_options, *m_rows);
    } else {
        m_sink.write(statistics_table(stores.log, current_file, m_options));
    }
}

void log_report::report_entries(evidence& stores, std::string_view log_path) {
    const walk_settings settings = {.style = m_options,
                                    .guesses_allowed = m_options.guesses_allowed,
                                    .mft_records = m_options.showall_inodes,
                                    .undo = m_options.show_undo,
                                    .show_progress = m_options.show_progress};
    if (m_options.shape == output_shape::jsonl) {
        json_teller lines(m_options, stores.inodes, log_path, m_sink);
        walk_transactions(stores, settings, m_diags, lines);
    } else if (m_rows) {
        row_teller rows(m_options, stores.inodes, *m_rows);
        walk_transactions(stores, settings, m_diags, rows);
    } else {
        teller nobody;  // the walk has progress and diagnostics to show all the same
        walk_transactions(stores, settings, m_diags, nobody);
    }
}

void log_report::report_events(evidence& stores, std::string_view log_path) {
    if (m_options.shape == output_shape::jsonl) {
        event_lines lines(m_options, log_path, m_sink);
        tell_all_events(stores, lines);
    } else if (m_rows) {
        event_rows rows(m_options, log_path, *m_rows);
        tell_all_events(stores, rows);
    }
}

template <class listener>
void log_report::tell_all_events(evidence& stores, listener& told_to) {
    entry_progress progress;
    const bool whole = tell_events(
        {.log = stores.log,
         .inodes = stores.inodes,
         .journal = stores.journal.file.is_open() ? &stores.journal.file : nullptr,
         .guesses_allowed = m_options.guesses_allowed},
        [&told_to](const event& told) { told_to.tell(told); },
        [this, &progress](std::uint64_t done, std::uint64_t total) {
            if (m_options.show_progress) progress.show(done, total);
        });
    if (!whole) stores.journal.incomplete = true;
}

}  // namespace kest
