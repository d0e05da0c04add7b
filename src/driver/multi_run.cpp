#include "driver/multi_run.h"

#include <optional>

#include "driver/warnings.h"
#include "format/error_words.h"
#include "format/safe_text.h"
#include "options/path_filter.h"
#include "options/warning_line.h"
#include "portable/console.h"
#include "portable/folder_walk.h"
#include "portable/stdin_stream_ex.h"

namespace kest {

namespace {

// Says what there is to say, and whether that was anything.
bool said(const std::string& words) {
    if (!words.empty()) uni::console_write(words);
    return !words.empty();
}

// The path of a listed file, as the operator sees it.
std::string shown_path(const logfile_options& options, const std::string& path) {
    if (!options.extended) return path;
    std::string shown;
    append_safe_text(shown, path);
    return shown;
}

// What -strict refuses is an error, otherwise a hint. True if it is refused, which has been said.
bool is_refused(const logfile_options& options, const std::string& warnings) {
    if (options.strict) return said(warnings);
    say_hints(options, warnings);
    return false;
}

// Nothing of one volume may reach another's report. A file that the run is writing is no log.
// Nothing if the log can be reported; else why it cannot, or an empty text where that has been said.
std::optional<std::string> parse_alone(const run_context& run, evidence& stores, const std::string& path) {
    log_store_reset(stores.log);
    stores.sequence_by_inode.clear();
    if (run.outputs.hold(path)) return "being written by this run";
    if (run.options.extended && is_refused(run.options, warnings_of_listed_file(path))) return "";
    if (!parse_log(stores.log, path, run.options)) return error_words(stores.log.open_error);
    if (stores.log.incomplete) say_reading_failed(run, shown_path(run.options, path));
    if (!run.options.strict && stores.log.entries.empty()) return "no record";
    if (is_refused(run.options, warnings_of_log(stores.log, path, run.options))) return "";
    return std::nullopt;
}

// A folder may hold anything; a log that was named, or that cannot be opened, is missed.
bool is_loss(const logfile_options& options, const log_store& log, const std::string& reason) {
    return options.extended && !reason.empty() && (options.pipe_mode || log.open_error != 0);
}

bool parse_and_report(const run_context& run, evidence& stores, const std::string& path) {
    const bool show_progress = run.options.show_progress;
    const std::string shown = shown_path(run.options, path);
    run.outputs.diags.trace(path);
    if (show_progress) say_parsing(shown);
    if (const auto reason = parse_alone(run, stores, path)) {
        if (show_progress || is_loss(run.options, stores.log, *reason)) say_parsing_failed(run.options, shown, *reason);
        return false;
    }
    run.report.write(stores, path);
    log_store_reset(stores.log);
    if (show_progress) uni::console_write("success: " + shown + '\n');
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
    uni::console_write(with_reason("prob opening folder: " + path, folder_error_words(error)) + '\n');
}

}  // namespace

bool multi_run(const run_context& run) {
    const auto wanted = [&run](const std::string& path) { return path_wanted(run.options, path); };
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

}  // namespace kest
