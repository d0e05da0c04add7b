#include "driver/multi_run.h"

#include "driver/doubts.h"
#include "options/path_filter.h"
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

// Nothing of one volume may reach another's report. A file that the run is writing is no log.
bool parse_alone(const run_context& run, evidence& stores, const std::string& path) {
    log_store_reset(stores.log);
    stores.sequence_by_inode.clear();
    const bool strict = run.options.strict;
    if (run.outputs.hold(path) || (strict && said(doubts_of_listed_file(path)))) return false;
    if (!parse_log(stores.log, path, run.options)) return false;
    if (stores.log.incomplete) say_reading_failed(run, path);
    if (strict && said(doubts_of_log(stores.log, path, run.options))) return false;
    return !stores.log.entries.empty();
}

bool parse_and_report(const run_context& run, evidence& stores, const std::string& path) {
    const bool show_progress = run.options.show_progress;
    run.outputs.diags.trace(path);
    if (show_progress) say_parsing(path);
    if (!parse_alone(run, stores, path)) {
        if (show_progress) say_parsing_failed(path);
        return false;
    }
    run.report.write(stores, path);
    log_store_reset(stores.log);
    if (show_progress) uni::console_write("success: " + path + '\n');
    return true;
}

// `next_path` gives the next file to parse; false at the end.
template <class path_source>
bool report_all(const run_context& run, path_source&& next_path) {
    evidence stores;
    bool reported = false, failed = false;
    for (std::string path; next_path(path);)
        (parse_and_report(run, stores, path) ? reported : failed) = true;
    if (failed && run.options.strict) run.findings.unreadable = true;
    return reported;
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
    return files.start(run.options.enumdir_path, run.options.num_subdirs, wanted) &&
           report_all(run, [&files](std::string& path) { return files.read_line(path); });
}

}  // namespace kest
