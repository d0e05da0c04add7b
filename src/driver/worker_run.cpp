#include "driver/worker_run.h"

#include <array>
#include <new>

#include "driver/run_steps.h"
#include "format/number.h"
#include "logfile/scanner.h"
#include "mft/mft_reader.h"
#include "portable/console.h"
#include "portable/portable_thread.h"
#include "report/listings.h"

namespace kest {

namespace {

constexpr std::uint32_t count_level = 2;  // of the diagnostics that tell counts
constexpr double progress_step = 5;       // percent

// The workers share the options without a lock: each writes its own store and reads only what was set before it was
// started. What was stored of an MFT stands when memory runs out.

void mft_worker(void* argument) {
    auto& options = *static_cast<logfile_options*>(argument);
    uni::percent_meter meter(uni::status_width, progress_step);
    try {
        walk_mft_records(
            options,
            [&options](inode_record& record, std::uint32_t position, std::uint64_t inode) {
                index_mft_record(options.mft, record, position, inode);
            },
            [&](std::uint64_t done, std::uint64_t total) {
                if (options.show_progress) meter.step(done, total);
            });
    } catch (const std::bad_alloc&) {
    }
    options.mft.seal();
}

void log_worker(void* argument) {
    auto& options = *static_cast<logfile_options*>(argument);
    // A log that cannot be read leaves an empty store, and that is told of.
    static_cast<void>(scan_logfile(options.log, options.log_path));
}

void jrnl_worker(void* argument) {
    scan_journal(static_cast<logfile_options*>(argument)->journal);
}

void show_status(const logfile_options& options, std::string_view text) {
    if (options.show_progress) uni::status_line(uni::status_width, text);
}

std::string count_text(std::string_view before, std::size_t count, std::string_view behind) {
    std::string text(before);
    append_decimal(text, count);
    return text.append(behind);
}

// Opens what comes with the log, before any thread is started.
bool open_inputs(logfile_options& options) {
    if (!options.mft_path.empty() && !load_mft(options, options.mft_path)) {
        say_parsing_failed(options.mft_path);
        return false;
    }
    if (!options.jrnl_path.empty() && !open_journal(options.journal, options.jrnl_path)) {
        say_parsing_failed(options.jrnl_path);
        return false;
    }
    return true;
}

void run_workers(logfile_options& options) {
    std::array<portable_thread, 3> threads;
    std::size_t started = 0;
    if (options.have_mft) threads[started++].start(mft_worker, &options);
    threads[started++].start(log_worker, &options);
    if (options.have_jrnl) threads[started++].start(jrnl_worker, &options);
    show_status(options, "worker threads spawned");
    for (portable_thread& thread : threads)
        thread.wait();
}

// Brings the journal records found in the log into the inode store; says how many files were new there.
// Kept: once one record has told the store nothing new, no later one counts as unique. The order of the records
// decides, so a log is always listed alike.
std::size_t merge_log_inodes(logfile_options& options) {
    std::size_t unique = 0;
    bool known_flag = false;
    for (inode_record& element : options.log.log_inode_records) {
        bool known = false;
        const std::uint64_t result = merge_inode_record(options, element, known, true);
        known_flag = known_flag || known;
        if (result == _inode_collection::not_merged) continue;
        element.store_index = result;
        if (known_flag) continue;
        element.path_set = true;
        ++unique;
    }
    return unique;
}

void combine(logfile_options& options) {
    diag_print(options, count_level, count_text("found ", options.records.size(), " mft entries [mft]"));
    merge_mft_data(options, true);
    const std::size_t count = options.log.log_inode_records.size();
    if (count == 0) return;
    show_status(options, count_text("diags - logfile data: ", count, " entries"));
    const std::size_t unique = merge_log_inodes(options);
    merge_journal_data(options, true);
    options.log.log_inode_records.clear();
    options.log.usn_seen.clear();
    std::string found = count_text("found ", count, " mft entries [logfile-usnjrnl], ");
    diag_print(options, count_level, count_text(found, unique, " were unique"));
    if (unique == 0) return;
    show_status(options, count_text("populating subdirs: ", options.inodes_by_number.size(), " folders"));
    build_paths(options);
}

}  // namespace

bool worker_run(logfile_options& options, uni::fileio_output& report_sink) {
    if (!open_inputs(options)) return false;
    run_workers(options);
    if (options.log.entries.empty()) {
        say_parsing_failed(options.log_path);
        return false;
    }
    show_status(options, "threads completed, combining data");
    combine(options);
    show_status(options, "threads completed, formatting output");
    write_report(options, report_sink);
    return true;
}

}  // namespace kest
