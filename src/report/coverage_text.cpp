#include "report/coverage_text.h"

#include "format/json.h"
#include "format/number.h"
#include "format/safe_text.h"
#include "report/coverage_summary.h"
#include "report/time_column.h"

namespace kest {

namespace {

constexpr std::size_t word_width = 28;  // bytes
constexpr std::string_view to = " to ";
const std::string unknown = "unknown";

// Lines of a word and what is known of it. Counts and sizes are decimal; LSNs and USNs are written as in rows, so that
// they can be looked for there.
class fact_lines {
public:
    explicit fact_lines(const logfile_options& options) : m_options(options), m_times(options.time_format) {}

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
            from_to("gap", gap.lsns.before, gap.lsns.behind);
            if (gap.time_before == 0 && gap.time_after == 0) continue;
            std::string times(gap.time_before != 0 ? m_times.text(gap.time_before) : unknown);
            text("gap_times", times.append(to).append(gap.time_after != 0 ? m_times.text(gap.time_after) : unknown));
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
    time_column m_times;
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
            m_object.number("to", gap.lsns.behind);
            if (gap.time_before != 0) m_object.time("time_before", gap.time_before);
            if (gap.time_after != 0) m_object.time("time_after", gap.time_after);
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
void tell_restart_page(facts_writer& lines, const std::string& word, const std::optional<restart_coverage>& told) {
    lines.yes_or_no(word, told.has_value());
    if (!told) return;
    const restart_facts& facts = told->facts;
    lines.yes_or_no(word + "_torn", told->torn);
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
void tell_pages(facts_writer& lines, const log_coverage& told) {
    lines.count("pages_restart", told.pages.restart);
    lines.count("pages_record", told.pages.record);
    lines.count("pages_torn", told.pages.torn);
    lines.count("pages_copied", told.copied_pages);
    lines.count("pages_foreign", told.pages.foreign);
    lines.count("pages_never_written", told.never_written);
}

template <class facts_writer>
void tell_records(facts_writer& lines, const log_coverage& told) {
    const transaction_tally& tally = told.transactions;
    lines.count("records_stored", told.records_stored);
    lines.count("records_distinct", told.records_distinct);
    lines.count("records_copied", told.records_stored - told.records_distinct);
    lines.count("records_in_whole", tally.records_of_whole);
    lines.count("records_in_cut", tally.records_of_cut);
    lines.count("records_of_checkpoints", tally.records_of_none);
    lines.count("transactions_done", tally.committed);
    lines.count("transactions_open", tally.open);
    lines.count("transactions_undone", tally.rolled_back);
    lines.count("transactions_partly_undone", tally.partly_rolled_back);
    lines.count("transactions_cut", tally.cut);
    lines.numbers("lsns", told.lsns);
    lines.count("gaps", told.gaps ? std::optional<std::uint64_t>(told.gaps->size()) : std::nullopt);
    if (told.gaps) lines.gaps(*told.gaps);
}

template <class facts_writer>
void tell_mft(facts_writer& lines, const mft_coverage& told) {
    lines.text("mft", told.path);
    lines.count("mft_records", told.records);
    lines.count("mft_in_use", told.in_use);
    lines.times("mft_times", told.times);
    lines.numbers("mft_usns", told.usns);
    lines.numbers("mft_lsns", told.lsns);
    lines.text("mft_fit", fit_text(told.fit));
}

template <class facts_writer>
void tell_journal(facts_writer& lines, const journal_coverage& told) {
    lines.text("journal", told.path);
    lines.count("journal_records", told.records);
    lines.count("journal_unread_bytes", told.unread_bytes);
    lines.times("journal_times", told.times);
    lines.numbers("journal_usns", told.usns);
    lines.text("journal_fit", fit_text(told.fit));
}

template <class facts_writer>
void tell_coverage(facts_writer& lines, const log_coverage& told) {
    lines.text("summary", coverage_summary(told));
    lines.text("log", told.path);
    lines.count("size", told.pages.file_size);
    lines.yes_or_no("read_to_end", told.read_to_end);
    tell_restart_page(lines, "restart_1", told.restart[0]);
    tell_restart_page(lines, "restart_2", told.restart[1]);
    lines.yes_or_no("restart_agree", told.restart_agree);
    tell_pages(lines, told);
    tell_records(lines, told);
    lines.times("times_by_journal", told.journal_times);
    lines.times("times_by_record", told.record_times);
    lines.numbers("usns", told.journal_usns);
    lines.count("cluster_size", told.cluster_size);
    if (told.mft) tell_mft(lines, *told.mft);
    if (told.journal) tell_journal(lines, *told.journal);
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

std::string coverage_text(const log_coverage& coverage, const logfile_options& options) {
    fact_lines lines(options);
    tell_coverage(lines, coverage);
    if (coverage.made_of) write_provenance(lines, *coverage.made_of);  // in JSON an object of its own
    return lines.take();
}

void write_coverage_object(const log_coverage& coverage, uni::fileio_output& report_sink) {
    fact_object object(report_sink);
    tell_coverage(object, coverage);
    object.end();
}

}  // namespace kest
