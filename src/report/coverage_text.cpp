#include "report/coverage_text.h"

#include <algorithm>

#include "format/json.h"
#include "format/number.h"
#include "format/safe_text.h"
#include "format/time.h"
#include "report/field_sinks.h"

namespace kest {

namespace {

constexpr std::size_t date_length = 10;                 // "2026-03-16"
constexpr std::size_t minute_length = date_length + 6;  // "2026-03-16T09:11"

std::string minute_text(std::uint64_t ticks) {
    std::string text;
    cv::append_internet_time(text, ticks, 0);
    text.resize(minute_length);
    text[date_length] = ' ';
    return text;
}

struct time_unit {
    std::uint64_t seconds;
    std::string_view word;
};
constexpr time_unit units[] = {{31'557'600, "year"}, {86'400, "day"}, {3600, "hour"}, {60, "minute"}};

// In the largest unit of which there are two, so that little is lost by rounding.
std::string duration_text(std::uint64_t from, std::uint64_t until) {
    const std::uint64_t seconds = (until - from) / cv::ticks_per_second;
    const auto fits = [seconds](const time_unit& unit) { return seconds >= 2 * unit.seconds; };
    const time_unit* unit = std::ranges::find_if(units, fits);
    if (unit == std::end(units)) return seconds < 60 ? "less than a minute" : "about 1 minute";
    const std::uint64_t count = (seconds + unit->seconds / 2) / unit->seconds;
    return "about " + format_number(count, false).append(1, ' ').append(unit->word).append(1, 's');
}

value_range covered_times(const log_coverage& coverage) {
    value_range all = coverage.journal_times;
    if (!coverage.record_times.any) return all;
    all.add(coverage.record_times.lowest);
    all.add(coverage.record_times.highest);
    return all;
}

void append_times(std::string& out, const log_coverage& coverage) {
    if (coverage.records_stored == 0) {
        out += "The log has no record";
    } else if (const value_range times = covered_times(coverage); !times.any) {
        out += "The log states no time";
    } else {
        const std::string begin = minute_text(times.lowest), end = minute_text(times.highest);
        const bool same_date = begin.compare(0, date_length, end, 0, date_length) == 0;
        out.append("The log covers ");
        if (begin == end) out += "less than a minute at ";
        out += begin;
        if (begin != end) out.append(" to ").append(same_date ? end.substr(date_length + 1) : end);
        out += " UTC";
    }
}

void append_gaps(std::string& out, const log_coverage& coverage) {
    if (coverage.records_stored == 0) return;
    if (!coverage.gaps) {
        out += "; whether it has gaps is unknown";
        return;
    }
    const std::size_t count = coverage.gaps->size();
    if (count == 0) {
        out += ", without a gap";
        return;
    }
    const gap_coverage* longest = nullptr;
    bool all_timed = true;
    const auto length = [](const gap_coverage& gap) { return gap.time_after - gap.time_before; };
    for (const gap_coverage& gap : *coverage.gaps) {
        if (gap.time_before == 0 || gap.time_after < gap.time_before) {
            all_timed = false;
        } else if (longest == nullptr || length(gap) > length(*longest)) {
            longest = &gap;
        }
    }
    out += count == 1 ? ", with one gap" : ", with " + format_number(count, false) + " gaps";
    if (longest == nullptr) {
        out += " of unknown length";
        return;
    }
    out += count == 1 ? " of " : all_timed ? ", the longest of " : ", the longest known one of ";
    out += duration_text(longest->time_before, longest->time_after);
}

template <class input_fit>
void append_fit(std::string& out, std::string_view input, const input_fit& fit) {
    const std::string words = fit_text(fit);
    if (contradicts(fit)) {
        out.append("; the ").append(input).append(" does not fit: ").append(words);
    } else if (words.empty()) {
        out.append("; whether the ").append(input).append(" fits is unknown");
    } else {
        out.append("; the ").append(input).append(" fits");
    }
}

void append_journal(std::string& out, const log_coverage& coverage) {
    append_fit(out, "journal", coverage.journal->fit);
    const value_range &times = coverage.journal->times, of_log = covered_times(coverage);
    if (contradicts(coverage.journal->fit) || !times.any || !of_log.any) return;
    const auto [from, until] = std::minmax(times.lowest, of_log.lowest);
    out.append(" and begins ").append(duration_text(from, until));
    out += times.lowest < of_log.lowest ? " earlier" : " later";
}

}  // namespace

std::string coverage_summary(const log_coverage& coverage) {
    std::string out;
    append_times(out, coverage);
    append_gaps(out, coverage);
    if (!coverage.read_to_end) out += "; it could not be read to its end";
    if (coverage.mft) append_fit(out, "MFT", coverage.mft->fit);
    if (coverage.journal) append_journal(out, coverage);
    return out += '.';
}

namespace {

constexpr std::size_t word_width = 28;  // bytes
constexpr std::string_view to = " to ";
const std::string unknown = "unknown";

// Lines of a word and what is known of it. Counts and sizes are decimal; LSNs and USNs are written as in rows, so that
// they can be looked for there.
class fact_lines {
public:
    explicit fact_lines(const logfile_options& options)
        : m_options(options), m_times(cv::with_nine_digits(options.time_format)) {}

    void text(std::string_view word, std::string_view value) {
        m_text.append(word).append(1, ':');
        if (!value.empty()) {
            m_text += ' ';
            if (!m_options.no_whitespace) m_text.append(word_width - std::min(word_width, word.size()), ' ');
            append_safe_text(m_text, value);
        }
        m_text += '\n';
    }
    void yes_or_no(std::string_view word, std::optional<bool> value) {
        std::string_view answer;
        if (value) answer = *value ? "yes" : "no";
        text(word, answer);
    }
    void count(std::string_view word, std::optional<std::uint64_t> value) {
        text(word, value ? format_number(*value, false) : std::string());
    }
    void number(std::string_view word, std::optional<std::uint64_t> value) {
        text(word, value ? format_number(*value, m_options.base16) : std::string());
    }
    void numbers(std::string_view word, const value_range& range) {
        if (range.any) return from_to(word, range.lowest, range.highest);
        text(word, {});
    }
    void times(std::string_view word, const value_range& range) {
        std::string value;
        if (range.any) value.append(m_times.text(range.lowest)).append(to).append(m_times.text(range.highest));
        text(word, value);
    }
    void gaps(const std::vector<gap_coverage>& gaps) {
        for (const gap_coverage& gap : gaps) {
            from_to("gap", gap.lsns.before, gap.lsns.after);
            if (gap.time_before == 0 && gap.time_after == 0) continue;
            std::string times(gap.time_before != 0 ? m_times.text(gap.time_before) : std::string_view(unknown));
            text("gap_times", times.append(to).append(gap.time_after != 0 ? m_times.text(gap.time_after)
                                                                          : std::string_view(unknown)));
        }
    }
    void clock_changes(const std::vector<clock_change>& changes) {
        for (const clock_change& change : changes) {
            std::string times(m_times.text(change.before));
            text("clock_set_back", times.append(to).append(m_times.text(change.after.ticks)));
        }
    }
    std::string take() {
        m_text += '\n';
        return std::move(m_text);
    }

private:
    void from_to(std::string_view word, std::uint64_t from, std::uint64_t until) {
        text(word, format_number(from, m_options.base16).append(to) + format_number(until, m_options.base16));
    }

    const logfile_options& m_options;
    cv::time_texts m_times;
    std::string m_text;
};

// One JSON object of what is known. Ranges are objects of their own.
class fact_object {
public:
    explicit fact_object(uni::fileio_output& report_sink) : m_object(report_sink) { m_object.begin_line(); }

    void text(std::string_view word, std::string_view value) { m_object.text_if_any(word, value); }
    void yes_or_no(std::string_view word, std::optional<bool> value) {
        if (value) m_object.truth(word, *value);
    }
    void count(std::string_view word, std::optional<std::uint64_t> value) { number(word, value); }
    void number(std::string_view word, std::optional<std::uint64_t> value) {
        if (value) m_object.number(word, *value);
    }
    void numbers(std::string_view word, const value_range& range) {
        if (!range.any) return;
        m_object.begin_object(word);
        m_object.number("from", range.lowest);
        m_object.number("to", range.highest);
        m_object.end_object();
    }
    void times(std::string_view word, const value_range& range) {
        if (!range.any) return;
        m_object.begin_object(word);
        m_object.time("from", range.lowest);
        m_object.time("to", range.highest);
        m_object.end_object();
    }
    void gaps(const std::vector<gap_coverage>& gaps) {
        m_object.begin_array("gap");
        for (const gap_coverage& gap : gaps) {
            m_object.begin_object({});
            m_object.number("from", gap.lsns.before);
            m_object.number("to", gap.lsns.after);
            if (gap.time_before != 0) m_object.time("time_before", gap.time_before);
            if (gap.time_after != 0) m_object.time("time_after", gap.time_after);
            m_object.end_object();
        }
        m_object.end_array();
    }
    void clock_changes(const std::vector<clock_change>& changes) {
        if (changes.empty()) return;
        m_object.begin_array("clock_set_back");
        for (const clock_change& change : changes) {
            m_object.begin_object({});
            m_object.time("from", change.before);
            m_object.time("to", change.after.ticks);
            m_object.number("lsn", change.after.lsn);
            m_object.end_object();
        }
        m_object.end_array();
    }
    void end() { m_object.end_line(); }

private:
    json_writer m_object;
};

std::string version_text(const restart_facts& facts) {
    if (!facts.major_version || !facts.minor_version) return {};
    return format_number(*facts.major_version, false).append(1, '.') + format_number(*facts.minor_version, false);
}

std::string_view state_text(const restart_facts& facts) {
    if (!facts.clean) return {};
    return *facts.clean ? "clean" : "dirty";
}

template <class facts_writer>
void report_restart_page(facts_writer& lines, const std::string& word, const std::optional<restart_coverage>& shown) {
    lines.yes_or_no(word, shown.has_value());
    if (!shown) return;
    const restart_facts& facts = shown->facts;
    lines.yes_or_no(word + "_torn", shown->torn);
    lines.text(word + "_version", version_text(facts));
    lines.count(word + "_system_page_size", facts.system_page_size);
    lines.count(word + "_log_page_size", facts.log_page_size);
    lines.count(word + "_log_size", facts.log_size);
    lines.text(word + "_state", state_text(facts));
    lines.number(word + "_current_lsn", facts.current_lsn);
    lines.number(word + "_oldest_lsn", facts.oldest_lsn);
    lines.text(word + "_client", facts.client_name.value_or(std::string()));
}

template <class facts_writer>
void report_pages(facts_writer& lines, const log_coverage& shown) {
    lines.count("pages_restart", shown.pages.restart);
    lines.count("pages_record", shown.pages.record);
    lines.count("pages_torn", shown.pages.torn);
    lines.count("pages_copied", shown.copied_pages);
    lines.count("pages_foreign", shown.pages.foreign);
    lines.count("pages_never_written", shown.never_written);
}

template <class facts_writer>
void report_records(facts_writer& lines, const log_coverage& shown) {
    const transaction_tally& tally = shown.transactions;
    lines.count("records_stored", shown.records_stored);
    lines.count("records_distinct", shown.records_distinct);
    lines.count("records_copied", shown.records_stored - shown.records_distinct);
    lines.count("records_in_whole", tally.records_of_whole);
    lines.count("records_in_cut", tally.records_of_cut);
    lines.count("records_of_checkpoints", tally.records_of_none);
    lines.count("transactions_done", tally.committed);
    lines.count("transactions_open", tally.open);
    lines.count("transactions_undone", tally.rolled_back);
    lines.count("transactions_partly_undone", tally.partly_rolled_back);
    lines.count("transactions_cut", tally.cut);
    lines.numbers("lsns", shown.lsns);
    lines.count("gaps", shown.gaps ? std::optional<std::uint64_t>(shown.gaps->size()) : std::nullopt);
    if (shown.gaps) lines.gaps(*shown.gaps);
}

template <class facts_writer>
void report_mft(facts_writer& lines, const mft_coverage& shown) {
    lines.text("mft", shown.path);
    lines.count("mft_records", shown.records);
    lines.count("mft_in_use", shown.in_use);
    lines.times("mft_times", shown.times);
    lines.numbers("mft_usns", shown.usns);
    lines.numbers("mft_lsns", shown.lsns);
    lines.text("mft_fit", fit_text(shown.fit));
    lines.count("mft_compared", shown.replayed.compared);
    lines.count("mft_equal", shown.replayed.equal);
    lines.count("mft_differing", shown.replayed.differing);
    lines.count("mft_unreadable", shown.replayed.uncompared.unreadable);
    lines.count("mft_lsn_unknown", shown.replayed.uncompared.lsn_unknown);
    lines.count("mft_older", shown.replayed.uncompared.older);
}

template <class facts_writer>
void report_journal(facts_writer& lines, const journal_coverage& shown) {
    lines.text("journal", shown.path);
    lines.count("journal_records", shown.records);
    lines.count("journal_unread_bytes", shown.unread_bytes);
    lines.times("journal_times", shown.times);
    lines.numbers("journal_usns", shown.usns);
    lines.text("journal_fit", fit_text(shown.fit));
}

template <class facts_writer>
void report_coverage(facts_writer& lines, const log_coverage& shown) {
    lines.text("summary", coverage_summary(shown));
    if (!shown.choice.empty()) lines.text("events_chosen_by", shown.choice);
    if (!shown.volume.empty()) lines.text("volume", shown.volume);
    lines.text("log", shown.path);
    lines.count("size", shown.pages.file_size);
    lines.yes_or_no("read_to_end", shown.read_to_end);
    report_restart_page(lines, "restart_1", shown.restart[0]);
    report_restart_page(lines, "restart_2", shown.restart[1]);
    lines.yes_or_no("restart_agree", shown.restart_agree);
    report_pages(lines, shown);
    report_records(lines, shown);
    lines.times("times_by_journal", shown.journal_times);
    lines.times("times_by_record", shown.record_times);
    lines.clock_changes(shown.clock_changes);
    lines.numbers("usns", shown.journal_usns);
    lines.count("cluster_size", shown.cluster_size);
    if (!shown.cluster_size_fit.empty()) lines.text("cluster_size_fit", shown.cluster_size_fit);
    if (shown.mft) report_mft(lines, *shown.mft);
    if (shown.journal) report_journal(lines, *shown.journal);
}

void write_provenance(fact_lines& lines, const provenance& made_of) {
    lines.text("program", made_of.program);
    lines.text("command_line", joined(made_of.command_line, '\''));
    for (const input_provenance& input : made_of.inputs) {
        const std::string word(input.input);
        if (input.input != "log") lines.count(word + "_size", input.size);
        lines.text(word + "_sha256", input.sha256);
    }
}

}  // namespace

std::string coverage_text(const log_coverage& coverage, const std::optional<provenance>& made_of,
                          const logfile_options& options) {
    fact_lines lines(options);
    report_coverage(lines, coverage);
    if (made_of) write_provenance(lines, *made_of);  // in JSON an object of its own
    return lines.take();
}

void write_coverage_object(const log_coverage& coverage, uni::fileio_output& report_sink) {
    fact_object object(report_sink);
    report_coverage(object, coverage);
    object.end();
}

}  // namespace kest
