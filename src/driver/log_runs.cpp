#include "driver/log_runs.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "coverage/input_fit.h"
#include "driver/warnings.h"
#include "format/error_words.h"
#include "format/number.h"
#include "inputs/read_inputs.h"
#include "logfile/scanner.h"
#include "options/warning_line.h"
#include "portable/console.h"
#include "portable/path_list.h"
#include "report/listings.h"

namespace kest {

namespace {

constexpr std::uint32_t count_level = 2;  // of the diagnostics that show counts

// A path as the operator sees it.
std::string shown_path(const logfile_options& options, const std::string& path) {
    return shown_text(path, options.extended);
}

// Tell the operator of a file at hand.
void say_parsing(const logfile_options& options, const std::string& path) {
    uni::console_write("trying to parse file: " + shown_path(options, path) + '\n');
}

void say_parsing_failed(const logfile_options& options, const std::string& path, std::string_view reason) {
    uni::console_write(with_reason("prob parsing file: " + shown_path(options, path), options.extended ? reason : "") +
                       '\n');
}

// Of streams in an image: what could not be had of them reads as zeros.
void say_gaps(const run_context& run) {
    for (const input_source* source : {&run.options.log, &run.options.mft, &run.options.journal})
        if (source->stream && source->stream->has_gaps()) say_reading_failed(run, source->path);
}

void show_status(const logfile_options& options, std::string_view text) {
    if (options.show_progress) uni::status_line(uni::status_width, text);
}

std::string count_text(std::string_view before, std::size_t count, std::string_view after) {
    std::string text(before);
    append_decimal(text, count);
    return text.append(after);
}

// Whether there is something to report. A journal on its own is looked into as far as its first record.
bool anything_found(const logfile_options& options, const evidence& stores) {
    if (options.have_log) return !stores.log.entries.empty();
    return journal_cursor(*stores.journal.file, stores.journal.resync).next() != nullptr;
}

// The rest of the report stands without it.
void say_journal_warnings(const logfile_options& options, const usn_journal& journal) {
    const std::string warnings = warnings_of_journal(journal.reading, options.journal.path);
    if (!warnings.empty()) uni::console_write(warnings);
}

void combine(const run_context& run, evidence& stores) {
    const logfile_options& options = run.options;
    run.outputs.diags.print(count_level, count_text("found ", stores.inodes.records.size(), " mft entries [mft]"));
    merge_mft_data(stores.inodes, options, run.outputs.diags);
    keep_left_journal_records(stores.log);
    const std::size_t count = stores.log.journal_records.size();
    if (count == 0) return;
    show_status(options, count_text("diags - logfile data: ", count, " entries"));
    const std::vector<merged_record> merged = merge_log_inodes(stores);
    const auto unique = static_cast<std::size_t>(std::ranges::count(merged, true, &merged_record::unique));
    merge_journal_data(stores, merged, options, run.outputs.diags);
    stores.log.journal_records = {};
    stores.log.journal_files.clear();
    const std::string found = count_text("found ", count, " mft entries [logfile-usnjrnl], ");
    run.outputs.diags.print(count_level, count_text(found, unique, " were unique"));
    if (unique == 0) return;
    show_status(options, count_text("populating subdirs: ", stores.inodes.inodes_by_number.size(), " folders"));
    build_paths(stores.inodes);
}

// Says what there is to say, and whether that was anything.
bool said(const std::string& words) {
    if (!words.empty()) uni::console_write(words);
    return !words.empty();
}

// What -strict refuses is an error, otherwise a hint. True if it is refused, which has been said.
bool is_refused(const logfile_options& options, const std::string& warnings) {
    if (options.strict) return said(warnings);
    say_hints(options, warnings);
    return false;
}

// Nothing of one volume may reach another's report. A file that the run is writing is no log.
// Nothing if the log can be reported; else why it cannot, or an empty text where that has been said.
std::optional<std::string> parse_listed_log(const run_context& run, evidence& stores, const std::string& path) {
    log_store_reset(stores.log);
    stores.sequence_by_inode.clear();
    if (run.outputs.hold(path)) return "being written by this run";
    if (run.options.extended && is_refused(run.options, warnings_of_listed_file(path))) return "";
    if (!parse_log(stores.log, {path}, run.options)) return error_words(stores.log.open_error);
    if (stores.log.incomplete) say_reading_failed(run, path);
    if (!run.options.strict && stores.log.entries.empty()) return "no record";
    if (is_refused(run.options, warnings_of_log(stores.log, path, run.options))) return "";
    if (run.options.extended) {
        const std::string misfit = log_misfit_line(stores.log, path);
        uni::console_write(misfit);
        if (run.options.strict && !misfit.empty()) return "";
    }
    return std::nullopt;
}

// A folder may hold anything; a log that was named, or that cannot be opened, is missed.
bool is_loss(const logfile_options& options, const log_store& log, const std::string& reason) {
    return options.extended && !reason.empty() && (options.pipe_mode || log.open_error != 0);
}

bool parse_and_report(const run_context& run, evidence& stores, const std::string& path) {
    const bool show_progress = run.options.show_progress;
    run.outputs.diags.trace(path);
    if (show_progress) say_parsing(run.options, path);
    if (const auto reason = parse_listed_log(run, stores, path)) {
        if (show_progress || is_loss(run.options, stores.log, *reason)) say_parsing_failed(run.options, path, *reason);
        return false;
    }
    run.report.write(stores, path);
    log_store_reset(stores.log);
    if (show_progress) uni::console_write("success: " + shown_path(run.options, path) + '\n');
    return true;
}

// `next_path` gives the next file to parse; false at the end.
template <class path_source>
bool report_all(const run_context& run, path_source&& next_path) {
    evidence stores;
    bool reported = false, failed = false;
    for (std::string path; next_path(path);)
        (parse_and_report(run, stores, path) ? reported : failed) = true;
    if (run.options.extended) run.findings.omitted = stores.inodes.omitted;
    if (failed && run.options.strict) run.findings.unreadable = true;
    return reported;
}

void say_no_folder(const std::string& path, int error) {
    uni::console_write(with_reason("prob opening folder: " + shown_text(path, true), folder_error_words(error)) + '\n');
}

// Parses the logs of a list one after another, from the standard input or a directory tree, and reports on each.
// True if there was a report on at least one.
bool multi_run(const run_context& run) {
    const auto wanted = [&run](const std::string& path) { return path_wanted(run.options.wanted, path); };
    if (run.options.pipe_mode) {
        cvportdir::stdin_stream_ex lines;
        const bool reported = report_all(run, [&](std::string& path) {
            while (lines.read_line(path)) {
                if (wanted(path)) return true;
            }
            return false;
        });
        if (lines.failed()) say_reading_failed(run, "standard input");
        return reported;
    }
    cvportdir::folder_walk files;
    if (!files.start(run.options.enumdir_path, run.options.num_subdirs, wanted)) {
        if (run.options.extended) say_no_folder(run.options.enumdir_path, files.open_error());
        return false;
    }
    const bool reported = report_all(run, [&files](std::string& path) { return files.read_line(path); });
    if (run.options.extended) say_hints(run.options, warnings_of_folders(files));
    return reported;
}

// Parses one log that comes without an MFT or a journal, and reports on it. False, with words for the operator, if
// it cannot be opened.
// Kept: a log without a single record is reported too, as a header and no rows; with an MFT or a journal beside it,
// or in a list, it counts as damaged.
bool single_run(const run_context& run) {
    const std::string& path = run.options.log.path;
    evidence stores;
    if (run.options.show_progress) say_parsing(run.options, path);
    if (!parse_log(stores.log, run.options.log, run.options)) {
        say_parsing_failed(run.options, path, error_words(stores.log.open_error));
        return false;
    }
    if (stores.log.incomplete) say_reading_failed(run, path);
    say_hints(run.options, warnings_of_log(stores.log, path, run.options));
    if (run.options.extended && !run.options.strict) uni::console_write(misfit_lines(stores, run.options));
    if (!run.options.derives_events()) store_log_inodes(stores);
    if (run.options.show_progress) uni::console_write("parsing complete\n");
    run.report.write(stores, {});
    run.findings.omitted = stores.inodes.omitted;
    return true;
}

// Reports on what was read, `misfits` of which are said before. False, which has been said, if it is nothing.
bool report_read(const run_context& run, evidence& stores, const std::string& misfits) {
    const logfile_options& options = run.options;
    const bool mft_incomplete = stores.inodes.incomplete;
    if (mft_incomplete) say_reading_failed(run, options.mft.path);
    if (stores.log.incomplete) say_reading_failed(run, options.log.path);
    if (!options.streams_journal() && stores.journal.reading.incomplete) say_reading_failed(run, options.journal.path);
    if (!anything_found(options, stores)) {
        const int error = stores.log.open_error;
        say_parsing_failed(options, options.have_log ? options.log.path : options.journal.path,
                           error != 0 ? error_words(error) : "no record");
        return false;
    }
    if (options.have_log) say_hints(options, warnings_of_log(stores.log, options.log.path, options));
    if (!misfits.empty()) uni::console_write(misfits);
    show_status(options, "threads completed, combining data");
    if (options.report != report_kind::coverage) {  // which is about each input as it came
        run.report.survey(stores);
        if (options.have_mft || options.have_jrnl) {
            combine(run, stores);
        } else if (!options.derives_events()) {
            store_log_inodes(stores);
        }
    }
    show_status(options, "threads completed, formatting output");
    run.report.write(stores, {});
    if (stores.inodes.incomplete && !mft_incomplete) say_reading_failed(run, options.mft.path);
    if (options.streams_journal() && stores.journal.reading.incomplete) say_reading_failed(run, options.journal.path);
    if (options.extended && options.journal.given()) say_journal_warnings(options, stores.journal);
    run.findings.omitted = stores.inodes.omitted;
    return true;
}

// Parses a log together with an MFT, a journal or both, brings together what they hold and reports on the log. False,
// with words for the operator, if one of the files is not what it should be.
bool worker_run(const run_context& run) {
    evidence stores;
    if (const auto unread = open_inputs(run.options, stores)) {
        say_parsing_failed(run.options, unread->path, unread->reason);
        return false;
    }
    read_inputs(run.options, stores);
    const bool says_misfits = run.options.extended && !run.options.strict;
    return report_read(run, stores, says_misfits ? misfit_lines(stores, run.options) : std::string());
}

// The files that may be an input of a set, of which one after another becomes it.
class candidate_list {
public:
    candidate_list(const std::vector<std::string>& paths, input_source& source, bool& have)
        : m_paths(paths), m_source(source), m_have(have) {
        if (!m_paths.empty()) take_next();
    }

    void take_next() {
        m_source.path = m_next < m_paths.size() ? m_paths[m_next++] : std::string();
        m_have = m_source.given();
    }

    // The one at hand is of another volume. It is said if no other takes its place.
    void reject(std::string words) {
        m_rejected += words.insert(words.size() - 1, "; left out");
        take_next();
    }
    std::string rejected() const { return m_have ? std::string() : m_rejected; }

    bool any() const { return !m_paths.empty(); }

private:
    const std::vector<std::string>& m_paths;
    std::size_t m_next = 0;
    input_source& m_source;
    bool& m_have;
    std::string m_rejected;
};

// `kind`: of files, of which the set has found none.
std::string untried_line(std::size_t untried, const std::string& kind, const case_set& set) {
    if (untried == 0) return {};
    return warning_line(count_text("not tried: ", untried, " more " + kind + " that may belong to"), set.path());
}

}  // namespace

read_set read_inputs_of_set(const run_context& run, logfile_options& options, const case_set& set) {
    candidate_list mfts(set.mfts, options.mft, options.have_mft);
    candidate_list journals(set.journals, options.journal, options.have_jrnl);
    read_set read;
    while (options.has_source() || options.report == report_kind::volumes) {
        read.stores = std::make_unique<evidence>();
        if (const auto unread = open_inputs(options, *read.stores)) {
            say_parsing_failed(options, unread->path, unread->reason);
            run.findings.unreadable = true;
            (unread->path == options.mft.path ? mfts : journals).take_next();
            read.stores.reset();
            continue;
        }
        read_inputs(options, *read.stores);
        const input_fits fits = compare_inputs(*read.stores, options);
        const misfit_words misfits = misfits_of(fits, *read.stores, options);
        const bool foreign_mft = mfts.any() && fits.mft && is_foreign(*fits.mft);
        const bool foreign_journal = journals.any() && fits.journal && is_foreign(*fits.journal);
        if (foreign_mft) mfts.reject(misfits.mft);
        if (foreign_journal) journals.reject(misfits.journal);
        if (foreign_mft || foreign_journal) continue;
        read.misfits = mfts.rejected() + journals.rejected() + misfits.lines();
        if (!options.have_mft) read.misfits += untried_line(set.untried_mfts, "MFTs", set);
        if (!options.have_jrnl) read.misfits += untried_line(set.untried_journals, "journals", set);
        break;
    }
    return read;
}

void say_empty_log(const run_context& run, const evidence& stores) {
    const logfile_options& options = run.options;
    const bool goes_on = options.journal.given() && options.writes_events();
    const int error = stores.log.open_error;
    const std::string reason = error != 0 ? error_words(error)
                               : goes_on  ? "no record; the journal by itself"
                                          : "no record";
    say_parsing_failed(options, options.log.path, reason);
    run.findings.unreadable = true;
}

// A log without a record costs no more than itself: events can be had of the journal beside it.
bool drop_empty_log(const run_context& run, logfile_options& options, const evidence& stores) {
    if (!options.have_log || !stores.log.entries.empty() || !options.journal.given() || !options.writes_events())
        return false;
    say_empty_log(run, stores);
    options.log = {};
    options.have_log = false;
    return true;
}

set_outcome report_set(const run_context& run, logfile_options& options, const case_set& set) {
    read_set read = read_inputs_of_set(run, options, set);
    if (read.stores && drop_empty_log(run, options, *read.stores))
        read = read_inputs_of_set(run, options, {.name = set.name});  // the inputs at hand, once more
    if (!read.stores) {
        say_hints(options, warning_line("no log, and so nothing to report of", set.path()));
        return run.findings.unreadable ? set_outcome::failed : set_outcome::nothing;
    }
    if (options.strict && said(read.misfits)) return set_outcome::failed;
    const bool reported = report_read(run, *read.stores, read.misfits);
    // That a log holds no record is all that there is to report of it.
    const bool empty_log = !reported && read.stores->log.open_error == 0 && !options.has_lines();
    if (empty_log && !options.have_mft && !options.have_jrnl) run.report.write(*read.stores, {});
    say_gaps(run);
    return reported ? set_outcome::reported : set_outcome::failed;
}

std::string misfits_of_inputs(logfile_options options) {
    if (!options.have_log || options.lists_logs()) return {};
    options.show_progress = false;
    evidence stores;
    if (open_inputs(options, stores)) return {};
    read_inputs(options, stores);
    return misfit_lines(stores, options);
}

void say_reading_failed(const run_context& run, const std::string& path) {
    run.findings.unreadable = true;
    argument_list& said = run.findings.said_unreadable;
    if (std::ranges::find(said, path) != said.end()) return;
    said.push_back(path);
    uni::console_write("prob reading file: " + shown_path(run.options, path) + '\n');
}

bool report_logs(const run_context& run) {
    if (run.options.lists_logs()) return multi_run(run);
    const bool reported = run.options.have_mft || run.options.have_jrnl ? worker_run(run) : single_run(run);
    say_gaps(run);
    return reported;
}

}  // namespace kest
