#include "report/database_report.h"

#include "format/safe_text.h"
#include "report/coverage_text.h"
#include "report/extent_fields.h"
#include "report/row_fields.h"

namespace kest {

namespace {

// Large pages, and a cache in which a block is sorted while the processor's own holds most of it.
constexpr const char* settings =
    "PRAGMA page_size = 65536; PRAGMA cache_size = -16384; PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF;"
    "PRAGMA locking_mode = EXCLUSIVE; PRAGMA temp_store = FILE; PRAGMA threads = 2; PRAGMA encoding = 'UTF-8';"
    "BEGIN; PRAGMA application_id = 1801810804; PRAGMA user_version = 1";  // "kest"

constexpr const char* own_tables[] = {
    R"(CREATE TABLE volumes (
    number INTEGER PRIMARY KEY,
    volume TEXT,
    log TEXT,
    mft TEXT,
    journal TEXT,
    program TEXT,
    command_line TEXT,
    inputs TEXT,
    limits TEXT
) STRICT)",
    R"(CREATE TABLE coverage (
    volume TEXT,
    file TEXT,
    fact TEXT,
    value TEXT
) STRICT)"};

constexpr const char* views[] = {
    R"(CREATE VIEW names AS
SELECT number, time, not_after, clock, event, state, old_path, path, inode, seq, volume FROM events
 WHERE event IN ('created', 'deleted', 'renamed', 'moved', 'link_added', 'link_removed', 'recycled', 'restored'))",
    R"(CREATE VIEW short_lived AS
SELECT gone.number, made.time AS created, gone.time AS deleted, gone.clock, gone.path, inode, seq, volume
  FROM events made JOIN events gone USING (volume, inode, seq)
 WHERE made.event = 'created' AND gone.event = 'deleted' AND gone.number > made.number
   AND coalesce(made.state, '') <> 'undone' AND coalesce(gone.state, '') <> 'undone'
   AND gone.time_ticks - made.time_ticks BETWEEN 0 AND 6000000000)",
    R"(CREATE VIEW file_names AS
WITH named AS (SELECT volume, inode, seq, substr(path, 1, instr(path || ':', ':') - 1) AS path FROM events
 WHERE seq IS NOT NULL AND path IS NOT NULL)
SELECT volume, inode, seq, count(DISTINCT path) AS names, json_group_array(DISTINCT path) AS paths FROM named
 GROUP BY volume, inode, seq HAVING count(DISTINCT path) > 1)",
    R"(CREATE VIEW set_times AS
SELECT number, time, not_after, clock, event, state, path, details->>'$.before.created' AS created_before,
       details->>'$.after.created' AS created_after, details->'$.before' AS before, details->'$.after' AS after, volume
  FROM events WHERE event IN ('times_set', 'times_copied'))",
    R"(CREATE VIEW event_counts AS
SELECT volume, event, clock, count(*) AS events, min(time) AS first, max(time) AS last FROM events
 GROUP BY volume, event, clock)",
};

constexpr const char* indexes[] = {
    "CREATE INDEX events_by_time ON events (time)",         "CREATE INDEX events_by_file ON events (inode, seq)",
    "CREATE INDEX events_by_path ON events (path)",         "CREATE INDEX extents_by_time ON extents (time)",
    "CREATE INDEX extents_by_file ON extents (inode, seq)", "CREATE INDEX extents_by_path ON extents (path)",
    "CREATE INDEX extents_by_lcn ON extents (lcn)",         "CREATE INDEX steps_by_time ON steps (time)",
    "CREATE INDEX steps_by_file ON steps (inode, seq)",     "CREATE INDEX steps_by_path ON steps (path)",
};

// Without what others say in the form that servers of timelines ask for, and `clock` in more words.
field_list<event_line> stored_fields(std::span<const field<event_line>> fields) {
    field_list<event_line> stored;
    for (const field<event_line>& row : fields) {
        const bool is_repeated = row.title.name == "timestamp_desc";
        if (row.title.presence != field_presence::servers && !is_repeated) stored.push_back(row);
    }
    return stored;
}

std::string safe_path(std::string_view path) {
    std::string safe;
    append_safe_text(safe, path);
    return safe;
}

}  // namespace

database_report::database_report(const logfile_options& options, const results_file& target)
    : m_is_of_events(options.report == report_kind::events),
      m_event_fields(stored_fields(event_fields())),
      m_extent_fields(stored_fields(extent_fields())) {
    const auto events = titles_of<event_line>(m_event_fields), extents = titles_of<event_line>(m_extent_fields),
               rows = titles_of_rows();
    if (open(target)) {
        for (const char* const table : own_tables)
            m_database.execute(table);
        m_database.execute(table_definition("events", events));
        m_database.execute(table_definition("extents", extents));
        m_database.execute(table_definition("steps", rows));
        for (const char* const view : views)
            m_database.execute(view);
    }
    m_events.emplace(m_database, "events", events);
    m_extents.emplace(m_database, "extents", extents);
    m_rows.emplace(m_database, "steps", rows);
}

// The name must still be that of the file that was proved.
bool database_report::open(const results_file& target) {
    if (!m_database.open(target.path_beside())) return false;
    const auto file = uni::identify(target.path_beside());
    if (!file || !target.is(*file)) return false;
    m_database.execute(settings);
    return m_database.good();
}

void database_report::begin_log(const log_source& source) {
    m_event_lines.emplace(source.options, source.log_path, m_event_fields, details_notation::json, *m_events);
    m_extent_lines.emplace(source.options, source.log_path, m_extent_fields, details_notation::none, *m_extents);
    put_volume(source);
    if (source.coverage != nullptr) put_coverage(*source.coverage);
}

void database_report::put_volume(const log_source& source) {
    uni::fileio_output object;
    write_provenance_object(source.made_of, object);
    const std::string mft = safe_path(source.options.mft.path), journal = safe_path(source.options.journal.path);
    uni::statement insert(m_database,
                          "INSERT INTO volumes (volume, log, mft, journal, program, command_line, inputs) SELECT "
                          "?1, nullif(?2, ''), nullif(?3, ''), nullif(?4, ''), ?5->>'$.provenance.program', "
                          "?5->'$.provenance.command_line', ?5->'$.provenance.inputs'");
    int parameter = 1;
    for (const std::string_view text : {m_event_lines->volume(), m_event_lines->log(), std::string_view(mft),
                                        std::string_view(journal), object.pending()})
        insert.bind(parameter++, text);
    insert.run();
}

// Each value of the object, by the keys that lead to it.
void database_report::put_coverage(const log_coverage& coverage) {
    uni::fileio_output object;
    write_coverage_object(coverage, object);
    uni::statement insert(m_database,
                          "INSERT INTO coverage SELECT ?1, ?2, replace(substr(fullkey, 3), '\"', ''), CASE type WHEN "
                          "'true' THEN 'yes' WHEN 'false' THEN 'no' ELSE CAST(atom AS TEXT) END "
                          "FROM json_tree(?3) WHERE atom IS NOT NULL");
    insert.bind(1, m_event_lines->volume());
    insert.bind(2, m_event_lines->log());
    insert.bind(3, object.pending());
    insert.run();
}

void database_report::write(const event& shown) {
    (shown.kind == event_kind::clusters_changed ? m_extent_lines : m_event_lines)->write(shown);
}

bool database_report::finish(std::string_view limits, const events_left_out&) {
    m_events.reset();
    m_extents.reset();
    m_rows.reset();
    if (!limits.empty()) {
        uni::statement set(m_database, "UPDATE volumes SET limits = ?");
        set.bind(1, limits);
        set.run();
    }
    for (const char* const index : indexes)
        m_database.execute(index);
    m_database.execute("COMMIT");
    return m_database.close();
}

std::string words_on_database(const logfile_options& options) {
    if (!options.writes_database) return {};
    if (!uni::database::built_in()) return "-db: not in this build, which had no SQLite (KEST_DATABASE)\n";
    if (!uni::database::available())
        return std::string("-db: no SQLite 3.38 or later can be loaded (") + uni::database::library() + ")\n";
    if (options.rows_to_database() && options.writes_report)
        return "-db of rows stands in place of the report: no -out\n";
    const bool fits = options.report == report_kind::events || options.report == report_kind::rows;
    return fits ? "" : "-db is for events and rows only\n";
}

}  // namespace kest
