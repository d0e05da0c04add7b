#include "report/page_report.h"

#include "report/coverage_text.h"
#include "report/page_template.h"

namespace kest {

namespace {

field_list<event_line> page_fields() {
    field_list<event_line> chosen;
    for (const field<event_line>& row : event_fields()) {
        if (row.title.presence != field_presence::servers) chosen.push_back(row);
    }
    return chosen;
}

}  // namespace

page_report::page_report(const logfile_options& options, uni::file& target)
    : m_options(options), m_page(target), m_fields(page_fields()), m_sink(titles_of<event_line>(m_fields), m_page) {
    for (const std::string_view piece : page_template_head())
        m_page.write(piece);
}

void page_report::begin_log(const log_source& source) {
    uni::fileio_output objects;
    write_provenance_object(source.made_of, objects);
    if (source.coverage != nullptr) write_coverage_object(*source.coverage, objects);
    begin_page_data(m_page, page_part::log);
    write_page_json(m_page, objects.pending());
    end_page_data(m_page);
    m_lines.emplace(source.options, source.log_path, m_fields, details_notation::json, m_sink);
}

bool page_report::finish(std::string_view limits, const events_left_out& left_out) {
    m_sink.finish(limits, m_options.selection.text(), left_out);
    for (const std::string_view piece : page_template_tail())
        m_page.write(piece);
    return m_page.flush();
}

std::string words_on_page(const logfile_options& options) {
    if (!options.writes_page) return {};
    if (page_template_head().empty()) return "-page: not in this build, which lacked npm or its packages (KEST_PAGE)\n";
    if (!options.writes_events()) return "-page is for events only\n";
    return {};
}

}  // namespace kest
