#include "driver/run_steps.h"

#include <algorithm>

#include "logfile/scanner.h"
#include "logfile/told_sizes.h"
#include "logfile/whole_log.h"
#include "options/warning_line.h"
#include "portable/console.h"

namespace kest {

namespace {

void settle_sizes(log_store& store, const logfile_options& options) {
    if (options.told_cluster_size || options.show_events) {
        const told_sizes told = find_told_sizes(store);
        store.place.cluster_size = told.cluster.value_or(store.place.cluster_size);
        store.place.record_size = told.file_record.value_or(store.place.record_size);
    }
    store.place.cluster_size = options.cluster_size.value_or(store.place.cluster_size);
}

}  // namespace

bool parse_log(log_store& store, const std::string& path, const logfile_options& options) {
    if (options.show_coverage) store.pages.emplace();
    store.keeps_pages = options.show_cut || options.show_coverage;
    if (store.keeps_pages) store.carry.drop();  // nothing of the log before this one
    if (!scan_logfile(store, path)) return false;
    if (store.keeps_pages) complete_log(store);
    settle_sizes(store, options);
    return true;
}

void say_parsing(const std::string& path) {
    uni::console_write("trying to parse file: " + path + '\n');
}

void say_parsing_failed(const logfile_options& options, const std::string& path, std::string_view reason) {
    uni::console_write(with_reason("prob parsing file: " + path, options.extended ? reason : "") + '\n');
}

void say_reading_failed(const run_context& run, const std::string& path) {
    run.findings.unreadable = true;
    argument_list& said = run.findings.said_unreadable;
    if (std::ranges::find(said, path) != said.end()) return;
    said.push_back(path);
    uni::console_write("prob reading file: " + path + '\n');
}

}  // namespace kest
