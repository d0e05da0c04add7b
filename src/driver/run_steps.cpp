#include "driver/run_steps.h"

#include "format/number.h"
#include "logfile/mft_place.h"
#include "logfile/scanner.h"
#include "portable/console.h"

namespace kest {

namespace {

// Rows have always reckoned with clusters of one size. On a volume of another one they name wrong files, which whoever
// sits in front of them should know.
void hint_at_cluster_size(const log_store& store, const logfile_options& options) {
    if (options.stats_requested || !has_rows(options.shape) || !uni::console_is_terminal()) return;
    const std::uint32_t told = told_cluster_size(store).value_or(store.cluster_size);
    if (told == store.cluster_size) return;
    std::string words = "clusters of ";
    append_decimal(words, told);
    words += " bytes, rows reckon with ";
    append_decimal(words, store.cluster_size);
    uni::console_write(words += ": -cluster_size auto\n");
}

void settle_cluster_size(log_store& store, const logfile_options& options) {
    if (options.cluster_size) {
        store.cluster_size = *options.cluster_size;
    } else if (options.told_cluster_size || options.show_events) {
        store.cluster_size = told_cluster_size(store).value_or(usual_cluster_size);
    } else {
        hint_at_cluster_size(store, options);
    }
}

}  // namespace

bool parse_log(log_store& store, const std::string& path, const logfile_options& options) {
    if (!scan_logfile(store, path)) return false;
    if (options.show_cut) link_cut_chains(store);
    settle_cluster_size(store, options);
    return true;
}

void say_parsing(const std::string& path) {
    uni::console_write("trying to parse file: " + path + '\n');
}

void say_parsing_failed(const std::string& path) {
    uni::console_write("prob parsing file: " + path + '\n');
}

void say_reading_failed(const run_context& run, const std::string& path) {
    run.unreadable = true;
    uni::console_write("prob reading file: " + path + '\n');
}

}  // namespace kest
