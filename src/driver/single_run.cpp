#include "driver/single_run.h"

#include <utility>

#include "driver/warnings.h"
#include "format/error_words.h"
#include "portable/console.h"

namespace kest {

namespace {

// The journal records found in the log are all that is known of the volume's files.
void store_log_inodes(evidence& stores) {
    if (stores.log.log_inode_records.empty()) return;
    stores.inodes.records.reserve(stores.log.log_inode_records.size());
    for (inode_record& record : stores.log.log_inode_records) {
        bool known = false;
        add_inode_record(stores.inodes, std::move(record), known);
    }
    stores.log.log_inode_records = {};
    build_paths(stores.inodes);
}

}  // namespace

// Kept: a log without a single record is reported too, as a header and no rows; with an MFT or a journal beside it,
// or in a list, it counts as damaged.
bool single_run(const run_context& run) {
    const std::string& path = run.options.log_path;
    evidence stores;
    if (run.options.show_progress) say_parsing(path);
    if (!parse_log(stores.log, path, run.options)) {
        say_parsing_failed(run.options, path, error_words(stores.log.open_error));
        return false;
    }
    if (stores.log.incomplete) say_reading_failed(run, path);
    say_hints(run.options, warnings_of_log(stores.log, path, run.options));
    store_log_inodes(stores);
    if (run.options.show_progress) uni::console_write("parsing complete\n");
    run.report.write(stores, {});
    run.findings.omitted = stores.inodes.omitted;
    return true;
}

}  // namespace kest
