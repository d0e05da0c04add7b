#include "report/event_summary.h"

#include <functional>
#include <utility>

#include "format/json.h"
#include "format/number.h"
#include "format/safe_text.h"
#include "format/time.h"
#include "report/coverage_text.h"
#include "report/event_words.h"

namespace kest {

namespace {

constexpr std::size_t most_kept = 1000;           // events of a list
constexpr std::size_t most_kept_bytes = 1 << 20;  // of their paths
constexpr std::size_t most_deleted = 10;          // last deletions
constexpr std::size_t most_shown = 10;            // lines of a list, where lists are for a screen
constexpr std::size_t fewer_shown = 5;            // likewise of what is only about
constexpr std::size_t screen_width = 100;         // bytes
constexpr std::uint64_t ticks_per_hour = 3600 * cv::ticks_per_second;

bool has_own_time(const event& shown) {
    return shown.clock != event_clock::not_before && cv::has_calendar_form(shown.time);
}

// Of the file or stream; empty for what is of no file.
std::string_view folder_of(std::string_view path) {
    return path.substr(0, path.rfind('\\') + 1);  // no separator: npos + 1 is 0
}

summed_event summed(const event& shown, const std::string& word) {
    summed_event kept{shown, clock_word(shown), word, state_word(shown), shown.path, shown.old_path, {}, shown.lsn};
    if (!is_of_volume(shown)) kept.file = shown.file;
    return kept;
}

void add_to(summed_events& list, const event& shown, const std::string& word) {
    ++list.total;
    if (list.kept.size() == most_kept || list.bytes > most_kept_bytes) return;
    list.bytes += shown.path.size() + shown.old_path.size();
    list.kept.push_back(summed(shown, word));
}

std::string counted(std::uint64_t count, std::string_view thing) {
    std::string text = format_number(count, false);
    text.append(1, ' ').append(thing);
    return count == 1 ? text : text + 's';
}

// A range of time as the options have times.
std::string range_text(const value_range& times, cv::format_flags format) {
    std::string text;
    cv::append_time(text, times.lowest, format);
    cv::append_time(text += " to ", times.highest, format);
    return text;
}

// Lines that are for people.
class summary_lines {
public:
    explicit summary_lines(cv::format_flags format) : m_format(format) {}

    void line(std::string_view words) { m_text.append(words).append(1, '\n'); }
    // Empty lists stand together.
    void heading(std::string_view words, std::uint64_t total) {
        if (total != 0 || m_last_total != 0) m_text += '\n';
        m_last_total = total;
        m_text.append(words).append(": ").append(format_number(total, false)).append(1, '\n');
    }
    void count(std::uint64_t count, std::string_view name) {
        const std::string number = format_number(count, false);
        m_text.append(std::max<std::size_t>(number.size(), 9) - number.size(), ' ').append(number);
        m_text.append("  ").append(name).append(1, '\n');
    }
    template <class naming>
    void most_frequent(std::string_view words, const frequency_table& of, naming&& name_of) {
        heading(words, of.distinct());
        const auto most = of.most_frequent();
        const std::size_t shown = std::min(most.size(), fewer_shown);
        for (std::size_t at = 0; at < shown; ++at)
            count(most[at].count, name_of(most[at]));
        rest(of.distinct(), shown);
    }
    void rest(std::uint64_t total, std::size_t shown, std::string_view word = " more\n") {
        if (total > shown) m_text.append("  ... and ").append(format_number(total - shown, false)).append(word);
    }
    void events(std::string_view words, const std::vector<summed_event>& list, std::uint64_t total,
                std::size_t most = most_shown) {
        heading(words, total);
        const std::size_t shown = std::min(list.size(), most);
        for (std::size_t at = 0; at < shown; ++at)
            event_line(list[at]);
        rest(total, shown);
    }
    void last_events(std::string_view words, const std::deque<summed_event>& last, std::uint64_t total) {
        heading(words, total);
        rest(total, last.size(), " before these\n");
        for (const summed_event& shown : last)
            event_line(shown);
    }
    // As many to a line as have room.
    void kinds(const std::map<std::string, std::uint64_t, std::less<>>& kinds) {
        std::vector<std::pair<std::uint64_t, std::string_view>> sorted;
        for (const auto& [word, count] : kinds)
            sorted.emplace_back(count, word);
        std::ranges::stable_sort(sorted, std::greater{}, [](const auto& of) { return of.first; });
        std::string line = " ";
        for (const auto& [count, word] : sorted) {
            const std::string item = ' ' + std::string(word) + ' ' + format_number(count, false);
            if (line.size() + item.size() >= screen_width) m_text.append(std::exchange(line, " ")).append(1, '\n');
            line.append(item).append(1, word == sorted.back().second ? '\n' : ',');
        }
        if (!sorted.empty()) m_text += line;
    }
    std::string take() { return std::move(m_text += '\n'); }

private:
    void append_time(std::uint64_t ticks, std::string_view before = {}) {
        m_text += before;
        if (ticks == 0) m_text += '?';
        cv::append_time(m_text, ticks, m_format);
    }
    void event_line(const summed_event& shown) {
        m_text += "  ";
        if (shown.when.clock == event_clock::not_before && shown.when.not_after == 0) m_text += "not before ";
        append_time(shown.when.time);
        if (shown.when.not_after != 0) append_time(shown.when.not_after, " to ");
        m_text.append("  ").append(shown.kind);
        if (!shown.state.empty() && shown.state != "done") m_text.append(" (").append(shown.state).append(1, ')');
        if (!shown.path.empty()) m_text += "  ";
        if (!shown.old_path.empty()) m_text.append(shown.old_path).append(" -> ");
        m_text.append(shown.path).append(1, '\n');
    }

    const cv::format_flags m_format;
    std::string m_text;
    std::uint64_t m_last_total = 1;
};

std::string covered_words(const log_coverage& coverage, cv::format_flags format) {
    if (!coverage.path.empty()) return coverage_summary(coverage);
    if (!coverage.journal || !coverage.journal->times.any) return "The journal states no time.";
    return "The journal covers " + range_text(coverage.journal->times, format) + " UTC.";
}

// How an hour is named where it is not JSON.
std::string hour_text(std::uint64_t hour, cv::format_flags format) {
    format.time = 0;
    std::string text;
    cv::append_time(text, hour * ticks_per_hour, format);
    return text.substr(0, text.rfind(':'));
}

void write_times(json_writer& object, std::string_view key, const value_range& times) {
    if (!times.any) return;
    object.begin_object(key);
    object.time("from", times.lowest);
    object.time("to", times.highest);
    object.end_object();
}

template <class list>
void write_events(json_writer& object, std::string_view key, std::string_view total_key, const list& events,
                  std::uint64_t total) {
    object.number(total_key, total);
    object.begin_array(key);
    for (const summed_event& shown : events) {
        object.begin_object({});
        object.time("time", shown.when.time);
        object.time("not_after", shown.when.not_after);
        object.text("clock", shown.clock);
        object.text("event", shown.kind);
        object.text_if_any("state", shown.state);
        object.text_if_any("path", shown.path);
        object.text_if_any("old_path", shown.old_path);
        if (shown.file) object.number("inode", shown.file->number());
        if (shown.file && shown.file->sequence() != 0) object.number("seq", shown.file->sequence());
        if (shown.lsn != 0) object.number("lsn", shown.lsn);
        object.end_object();
    }
    object.end_array();
}

}  // namespace

void event_summary::count_time(const event& shown) {
    if (!has_own_time(shown)) {
        ++m_untimed;
        return;
    }
    m_times.add(shown.time);
    m_hours.add(shown.time / ticks_per_hour, {});
}

void event_summary::add(const event& shown) {
    ++m_events;
    m_word.clear();
    append_event_word(m_word, shown);
    ++m_kinds[m_word];
    if (shown.source != event_source::journal) {
        if (shown.state == event_state::open) ++m_open;
        if (shown.state == event_state::undone) ++m_undone;
    }
    count_time(shown);
    if (!shown.path.empty()) {
        const std::string_view folder = folder_of(shown.path);
        m_folders.add(std::hash<std::string_view>{}(folder), folder);
    }
    switch (shown.kind) {
        case event_kind::mounted:
        case event_kind::clock_set_back:
            return add_to(m_mounts, shown, m_word);
        case event_kind::times_set:
            return add_to(m_times_set, shown, m_word);
        case event_kind::mft_differs:
            return add_to(m_differences, shown, m_word);
        case event_kind::journal_deleted:
            return add_to(m_deleted_journals, shown, m_word);
        case event_kind::deleted:
            if (shown.source != event_source::journal && shown.state == event_state::undone) return;
            ++m_deleted;
            m_last_deleted.push_back(summed(shown, m_word));
            if (m_last_deleted.size() > most_deleted) m_last_deleted.pop_front();
            return;
        default:
            return;
    }
}

std::string event_summary::text(const logfile_options& options, const events_left_out& left_out) const {
    const cv::format_flags format = options.time_format;
    summary_lines lines(format);
    std::string of;
    append_safe_text(of, m_coverage.path.empty() && m_coverage.journal ? m_coverage.journal->path : m_coverage.path);
    lines.line(of);
    lines.line(covered_words(m_coverage, format));
    if (const std::uint64_t cut = m_coverage.transactions.cut; cut != 0)
        lines.line(counted(cut, "transaction") + " without a beginning, which is overwritten.");
    if (options.selection.any()) {
        std::string choice = "Events chosen by ";
        append_safe_text(choice, options.selection.text());
        lines.line(choice.append("; ").append(counted(left_out.not_chosen, "other")).append(" left out."));
    }
    if (!options.system_events) lines.line(counted(left_out.of_system, "event") + " of the system left out.");

    lines.heading("Events", m_events);
    lines.kinds(m_kinds);
    if (m_times.any) lines.line("  from " + range_text(m_times, format));
    lines.line("  " + counted(m_untimed, "event") + " without a time of its own, " + format_number(m_open, false) +
               " open, " + format_number(m_undone, false) + " undone");

    lines.most_frequent("Folders with events", m_folders, [](const auto& folder) { return folder.name; });
    lines.most_frequent("Hours with events, UTC", m_hours,
                        [format](const auto& hour) { return hour_text(hour.key, format); });

    lines.events("Mounts and changes of the clock", m_mounts.kept, m_mounts.total, fewer_shown);
    lines.events("times_set", m_times_set.kept, m_times_set.total);
    lines.events("mft_differs", m_differences.kept, m_differences.total);
    lines.events("journal_deleted", m_deleted_journals.kept, m_deleted_journals.total);
    lines.last_events("Deletions", m_last_deleted, m_deleted);
    return lines.take();
}

void event_summary::write_object(const events_left_out& left_out, uni::fileio_output& report_sink) const {
    json_writer object(report_sink);
    object.begin_line();
    object.text("summary", covered_words(m_coverage, {}));
    object.text_if_any("log", m_coverage.path);
    if (m_coverage.journal) object.text_if_any("journal", m_coverage.journal->path);
    if (!m_coverage.choice.empty()) {
        object.text("events_chosen_by", m_coverage.choice);
        object.number("not_chosen", left_out.not_chosen);
    }
    object.number("of_system_left_out", left_out.of_system);
    object.number("transactions_cut", m_coverage.transactions.cut);
    if (m_coverage.gaps) object.number("gaps", m_coverage.gaps->size());
    write_times(object, "times_by_journal", m_coverage.journal_times);
    write_times(object, "times_by_record", m_coverage.record_times);
    if (m_coverage.journal) write_times(object, "journal_times", m_coverage.journal->times);

    object.number("events", m_events);
    object.number("open", m_open);
    object.number("undone", m_undone);
    object.number("without_own_time", m_untimed);
    write_times(object, "event_times", m_times);
    object.begin_object("kinds");
    for (const auto& [word, count] : m_kinds)
        object.number(word, count);
    object.end_object();
    object.number("folders_in_all", m_folders.distinct());
    object.begin_array("folders");
    for (const auto& folder : m_folders.most_frequent()) {
        object.begin_object({});
        object.text("path", folder.name);
        object.number("events", folder.count);
        object.end_object();
    }
    object.end_array();
    object.number("hours_in_all", m_hours.distinct());
    object.begin_array("hours");
    for (const auto& hour : m_hours.most_frequent()) {
        object.begin_object({});
        object.time("hour", hour.key * ticks_per_hour);
        object.number("events", hour.count);
        object.end_object();
    }
    object.end_array();
    write_events(object, "mounts_and_clock", "mounts_and_clock_in_all", m_mounts.kept, m_mounts.total);
    write_events(object, "times_set", "times_set_in_all", m_times_set.kept, m_times_set.total);
    write_events(object, "mft_differs", "mft_differs_in_all", m_differences.kept, m_differences.total);
    write_events(object, "journal_deleted", "journal_deleted_in_all", m_deleted_journals.kept,
                 m_deleted_journals.total);
    write_events(object, "last_deleted", "deleted_in_all", m_last_deleted, m_deleted);
    object.end_line();
}

}  // namespace kest
