#include "driver/single_run.h"

#include <utility>

#include "driver/run_steps.h"
#include "logfile/scanner.h"
#include "portable/console.h"

namespace kest {

namespace {

// The journal records found in the log are all that is known of the volume's files.
void store_log_inodes(logfile_options& options) {
    if (options.log.log_inode_records.empty()) return;
    options.records.reserve(options.log.log_inode_records.size());
    for (inode_record& record : options.log.log_inode_records) {
        bool known = false;
        add_inode_record(options, std::move(record), known);
    }
    options.log.log_inode_records = {};
    build_paths(options);
}

}  // namespace

// Kept: a log without a single record is reported too, as a header and no rows; with an MFT or a journal beside it,
// or in a list, it counts as damaged.
bool single_run(logfile_options& options, uni::fileio_output& report_sink) {
    if (options.show_progress) say_parsing(options.log_path);
    if (!scan_logfile(options.log, options.log_path)) {
        say_parsing_failed(options.log_path);
        return false;
    }
    store_log_inodes(options);
    if (options.show_progress) uni::console_write("parsing complete\n");
    write_report(options, report_sink);
    return true;
}

}  // namespace kest
