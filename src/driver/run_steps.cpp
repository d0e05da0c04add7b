#include "driver/run_steps.h"

#include "logfile/scanner.h"
#include "portable/console.h"

namespace kest {

bool parse_log(log_store& store, const std::string& path, const logfile_options& options) {
    if (options.show_coverage) {
        store.pages.emplace();
        store.carry.drop();  // nothing of the log before this one
    }
    if (!scan_logfile(store, path)) return false;
    if (options.show_cut || options.show_coverage) link_cut_chains(store);
    return true;
}

void say_parsing(const std::string& path) {
    uni::console_write("trying to parse file: " + path + '\n');
}

void say_parsing_failed(const std::string& path) {
    uni::console_write("prob parsing file: " + path + '\n');
}

void say_reading_failed(const run_context& run, const std::string& path) {
    run.findings.unreadable = true;
    uni::console_write("prob reading file: " + path + '\n');
}

}  // namespace kest
