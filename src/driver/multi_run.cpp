#include "driver/multi_run.h"

#include "driver/path_filter.h"
#include "driver/run_steps.h"
#include "logfile/scanner.h"
#include "portable/console.h"
#include "portable/stdin_stream_ex.h"

namespace kest {

namespace {

bool open_list(const logfile_options& options, cvportdir::stdin_stream_ex& list) {
    if (!options.pipe_mode) {
        return list.walk(options.enumdir_path, options.num_subdirs,
                         [&options](const std::string& path) { return path_wanted(options, path); });
    }
    list.read_stdin();
    return true;
}

// The next file to parse; false at the end.
bool next_path(const logfile_options& options, cvportdir::stdin_stream_ex& list, std::string& path) {
    while (list.read_line(path)) {
        if (!options.pipe_mode || path_wanted(options, path)) return true;  // the walk lists none that is not wanted
    }
    return false;
}

// Nothing of one volume may reach another's report.
bool parse_alone(logfile_options& options, const std::string& path) {
    log_store_reset(options.log);
    options.sequence_by_inode.clear();
    options.log_path = path;
    return scan_logfile(options.log, path) && !options.log.entries.empty();
}

bool parse_and_report(logfile_options& options, const std::string& path, uni::fileio_output& report_sink) {
    diag_trace(options, path);
    if (options.show_progress) say_parsing(path);
    if (!parse_alone(options, path)) {
        if (options.show_progress) say_parsing_failed(path);
        return false;
    }
    options.current_file = path;
    write_report(options, report_sink);
    log_store_reset(options.log);
    if (options.show_progress) uni::console_write("success: " + path + '\n');
    return true;
}

}  // namespace

bool multi_run(logfile_options& options, uni::fileio_output& report_sink) {
    cvportdir::stdin_stream_ex list;
    if (!open_list(options, list)) return false;
    bool reported = false;
    for (std::string path; next_path(options, list, path);) {
        if (parse_and_report(options, path, report_sink)) reported = true;
    }
    return reported;
}

}  // namespace kest
