#include "report/report.h"

#include <algorithm>
#include <utility>

#include "events/derive_events.h"
#include "format/error_words.h"
#include "format/number.h"
#include "format/safe_text.h"
#include "options/warning_line.h"
#include "report/content_fields.h"
#include "report/coverage_text.h"
#include "report/extent_fields.h"
#include "report/field_sinks.h"
#include "report/provenance.h"
#include "report/statistics.h"
#include "report/timeline_fields.h"
#include "transactions/walk.h"

namespace kest {

namespace {

event_topic topic_of(report_kind report) {
    if (report == report_kind::extents) return event_topic::clusters;
    return report == report_kind::contents ? event_topic::contents : event_topic::events;
}

event_topic topic_of(event_kind kind) {
    if (kind == event_kind::clusters_changed) return event_topic::clusters;
    return kind == event_kind::content_held ? event_topic::contents : event_topic::events;
}

std::span<const field<event_line>> fields_of_events(const logfile_options& options) {
    if (options.shape == output_shape::bodyfile) return body_fields();
    return options.shape == output_shape::csvl2t ? timeline_fields() : event_fields();
}

}  // namespace

log_report::log_report(const logfile_options& options, diagnostics& diags, uni::fileio_output& report_sink,
                       std::vector<event_report*> further)
    : m_options(options), m_diags(diags), m_sink(report_sink), m_further(std::move(further)), m_choice(options) {
    if (options.rows_to_database()) {
        m_row_fields.assign(row_fields().begin(), row_fields().end());
        m_notation = details_notation::json;
    }
    if (!options.writes_report) return;
    switch (options.report) {
        case report_kind::rows:
            m_row_fields = choose_fields(row_fields(), options);
            open_lines(marked_titles(titles_of<row_line>(m_row_fields), options.guesses_allowed));
            break;
        case report_kind::events:
            if (options.for_screen) {
                m_screen.emplace(options, report_sink);
                break;
            }
            m_event_fields = choose_fields(fields_of_events(options), options);
            open_lines(titles_of<event_line>(m_event_fields));
            break;
        case report_kind::extents:
            m_event_fields = choose_fields<event_line>(extent_fields(), options);
            open_lines(titles_of<event_line>(m_event_fields));
            break;
        case report_kind::contents:
            m_contents.emplace(options.content_folder);
            m_event_fields = choose_fields<event_line>(content_fields(), options);
            open_lines(titles_of<event_line>(m_event_fields));
            break;
        case report_kind::statistics:
            if (options.shape == output_shape::csv)
                m_counts.emplace(report_sink, options, options.base16, statistics_columns());
            break;
        case report_kind::summary:
        case report_kind::coverage:
        case report_kind::volumes:
            break;
    }
}

void log_report::open_lines(const std::vector<field_title>& titles) {
    m_lines = make_sink(m_options, titles, m_options.is_of_files(), m_sink);
    if (m_lines) m_notation = writes_json() ? details_notation::json : details_notation::text;
}

void log_report::write_titles() {
    if (m_lines) m_lines->begin_report();
    if (m_counts) m_counts->write_header();
    if (m_screen) m_screen->begin_report({});
}

void log_report::write(evidence& stores, std::string_view current_file) {
    const std::string_view log_path = current_file.empty() ? m_options.log.path : current_file;
    const bool in_report = m_options.show_provenance && m_options.writes_report;
    std::optional<provenance> made_of;
    if (!m_further.empty() || (in_report && (writes_json() || m_options.report == report_kind::coverage))) {
        made_of = gather_provenance(m_options,
                                    current_file.empty() ? m_options.log : input_source{std::string(current_file)});
        for (const input_provenance& input : made_of->inputs)
            if (input.unread) m_unread_inputs.push_back(input.path);
    }
    if (in_report && writes_json()) write_provenance_object(*made_of, m_sink);
    survey(stores, log_path);
    if (!m_further.empty()) begin_further(log_path, *made_of);
    if (m_lines) m_lines->begin_report();
    if (m_screen) m_screen->begin_report(m_options.volume.empty() ? current_file : m_options.volume);
    switch (m_options.report) {
        case report_kind::rows:
            return report_entries(stores, log_path);
        case report_kind::summary:
        case report_kind::events:
        case report_kind::extents:
        case report_kind::contents:
            return report_events(stores, log_path);
        case report_kind::statistics:
            return report_statistics(stores, current_file);
        case report_kind::coverage:
            return report_coverage(stores, log_path, made_of);
        case report_kind::volumes:
            return;
    }
}

void log_report::survey(evidence& stores) {
    survey(stores, m_options.log.path);
}

void log_report::survey(evidence& stores, std::string_view log_path) {
    const bool for_further = !m_further.empty() && m_options.have_log;
    if (m_coverage || (!for_further && m_options.report != report_kind::summary)) return;
    m_coverage = gather_coverage(stores, m_options, log_path);
}

void log_report::begin_further(std::string_view log_path, const provenance& made_of) {
    const log_coverage* const coverage = m_options.have_log ? &*m_coverage : nullptr;
    for (event_report* const further : m_further)
        further->begin_log({m_options, log_path, made_of, coverage});
}

void log_report::report_coverage(evidence& stores, std::string_view log_path,
                                 const std::optional<provenance>& made_of) {
    const log_coverage coverage = gather_coverage(stores, m_options, log_path);
    if (writes_json()) {
        write_coverage_object(coverage, m_sink);
    } else {
        m_sink.write(coverage_text(coverage, made_of, m_options));
    }
}

void log_report::report_summary(const event_summary& summary, const events_left_out& before) {
    const events_left_out now = m_choice.left_out();
    const events_left_out of_log{now.of_system - before.of_system, now.not_chosen - before.not_chosen};
    if (writes_json()) {
        summary.write_object(of_log, m_sink);
    } else {
        m_sink.write(summary.text(m_options, of_log));
    }
}

void log_report::report_statistics(const evidence& stores, std::string_view current_file) {
    std::string safe_path;
    if (m_options.lists_sets()) {
        append_safe_text(safe_path, m_options.log.path);
        current_file = safe_path;
    }
    if (writes_json()) {
        write_statistics_object(stores.log, current_file.empty() ? m_options.log.path : current_file, m_sink);
    } else if (m_counts) {
        m_counts->write_header();
        write_statistics_row(stores.log, current_file, m_options, *m_counts);
    } else {
        m_sink.write(statistics_table(stores.log, current_file, m_options));
    }
}

void log_report::report_entries(evidence& stores, std::string_view log_path) {
    field_sink* out = m_lines.get();
    for (event_report* const further : m_further) {
        if (field_sink* const rows = further->row_sink()) out = rows;
    }
    const walk_settings settings = {.style = m_options,
                                    .notation = m_notation,
                                    .guesses_allowed = m_options.guesses_allowed,
                                    .mft_records = m_options.showall_inodes,
                                    .undo = shows_undo(m_row_fields),
                                    .show_progress = m_options.show_progress};
    if (out != nullptr) {
        row_lines rows(m_options, stores.inodes, log_path, m_row_fields, m_notation, *out);
        walk_transactions(stores, settings, m_diags, rows);
    } else {
        step_sink nothing;  // the walk has progress and diagnostics to show all the same
        walk_transactions(stores, settings, m_diags, nothing);
    }
}

std::string log_report::unwritten_contents() const {
    if (!m_contents || m_contents->failures() == 0) return {};
    std::string words = "prob writing contents: ";
    append_safe_text(words, m_contents->failed());
    words = with_reason(std::move(words), folder_error_words(m_contents->error()));
    if (m_contents->failures() > 1) {
        append_decimal(words += ", and ", m_contents->failures() - 1);
        words += m_contents->failures() == 2 ? " other" : " others";
    }
    return words += '\n';
}

bool log_report::put_content(const event& shown) {
    const uni::byte_view bytes = shown.before.value.empty() ? shown.after.value : shown.before.value;
    return m_contents->put(content_name(shown), bytes);
}

void log_report::report_events(evidence& stores, std::string_view log_path) {
    if (!m_lines && m_further.empty() && !m_contents && m_options.report != report_kind::summary && !m_screen) return;
    const events_left_out before = m_choice.left_out();
    std::optional<event_summary> summary;
    if (m_options.report == report_kind::summary) summary.emplace(*std::exchange(m_coverage, std::nullopt));
    m_coverage.reset();
    std::optional<event_lines> lines;
    if (m_lines) lines.emplace(m_options, log_path, m_event_fields, m_notation, *m_lines);
    const event_topic own = topic_of(m_options.report);
    const bool any_clusters = std::ranges::any_of(m_further, &event_report::takes_clusters);
    stores.journal.reading = derive_events(
        {.log = stores.log,
         .inodes = stores.inodes,
         .journal = stores.journal.file.get(),
         .guesses_allowed = m_options.guesses_allowed,
         .cluster_size = m_options.cluster_size,
         .topic = any_clusters ? event_topic::events_and_clusters : own,
         .threads_allowed = m_options.jobs < 2,  // otherwise sets take the processors
         .omitted = stores.inodes.omitted},
        [&](const event& shown) {
            const bool is_own = topic_of(shown.kind) == own;  // otherwise of the journal file, or for further reports
            if ((!is_own && !any_clusters) || !m_choice.takes(shown, is_own)) return;
            if (is_own && m_contents && !put_content(shown)) return;
            if (is_own && lines) lines->write(shown);
            for (event_report* const further : m_further) {
                if (is_own || further->takes_clusters()) further->write(shown);
            }
            if (is_own && m_screen) m_screen->write(shown);
            if (is_own && summary) summary->add(shown);
        },
        [this](std::uint64_t done, std::uint64_t total) {
            if (m_options.show_progress) show_entry_progress(done, total);
        });
    if (m_contents && m_contents->limit_hit()) stores.inodes.omitted.contents = true;
    if (summary) report_summary(*summary, before);
}

}  // namespace kest
