#include "driver/worker_run.h"

#include <algorithm>
#include <array>
#include <new>
#include <optional>
#include <vector>

#include "driver/warnings.h"
#include "format/error_words.h"
#include "format/number.h"
#include "journal/journal_cursor.h"
#include "mft/mft_reader.h"
#include "portable/console.h"
#include "portable/portable_thread.h"
#include "report/input_fit.h"
#include "report/listings.h"

namespace kest {

namespace {

constexpr std::uint32_t count_level = 2;  // of the diagnostics that tell counts
constexpr double progress_step = 5;       // percent

// What a worker is given. All share it without a lock: each writes its own store and reads only what was set before it
// was started. What was stored of an MFT stands when memory runs out.
struct worker_task {
    const logfile_options& options;
    evidence& stores;
};

void mft_worker(void* argument) {
    const auto& task = *static_cast<worker_task*>(argument);
    mft_index& index = task.stores.mft;
    uni::percent_meter meter(uni::status_width, progress_step);
    walk_mft_records(
        task.stores.inodes,
        [&index](inode_record& record, std::uint32_t position, std::uint64_t inode) {
            index_mft_record(index, record, position, inode);
        },
        [&](std::uint64_t done, std::uint64_t total) {
            if (task.options.show_progress) meter.step(done, total);
        });
    index.seal();
}

void log_worker(void* argument) {
    const auto& task = *static_cast<worker_task*>(argument);
    log_store& log = task.stores.log;
    try {
        // A log that cannot be opened leaves an empty store, and that is told of.
        static_cast<void>(parse_log(log, task.options.log_path, task.options));
    } catch (const std::bad_alloc&) {
        log.incomplete = true;
    }
}

void jrnl_worker(void* argument) {
    scan_journal(static_cast<worker_task*>(argument)->stores.journal);
}

void show_status(const logfile_options& options, std::string_view text) {
    if (options.show_progress) uni::status_line(uni::status_width, text);
}

std::string count_text(std::string_view before, std::size_t count, std::string_view behind) {
    std::string text(before);
    append_decimal(text, count);
    return text.append(behind);
}

// An input that cannot be read.
struct unread_input {
    const std::string& path;
    std::string reason;
};

// Opens what comes with the log, before any thread is started. Nothing if all of it can be read.
std::optional<unread_input> open_inputs(const logfile_options& options, evidence& stores) {
    const auto resync = options.extended ? journal_resync::at_records : journal_resync::at_pages;
    stores.inodes.all_records = options.have_mft;
    if (options.have_mft) stores.inodes.parse_mask |= parse_bits::index_allocation;
    if (!options.mft_path.empty() && !load_mft(stores.inodes, options.mft_path)) {
        const int error = stores.inodes.mft_file.open_error();
        return unread_input{options.mft_path, error != 0 ? error_words(error) : "no file record"};
    }
    if (!options.jrnl_path.empty() && !open_journal(stores.journal, options.jrnl_path, resync)) {
        const int error = stores.journal.file.open_error();
        return unread_input{options.jrnl_path, error != 0 ? error_words(error) : "too short"};
    }
    return std::nullopt;
}

// Whether there is something to tell of. A journal on its own is looked into as far as its first record.
bool anything_found(const logfile_options& options, const evidence& stores) {
    if (options.have_log) return !stores.log.entries.empty();
    return journal_cursor(stores.journal.file, stores.journal.resync).next() != nullptr;
}

void run_workers(const logfile_options& options, evidence& stores) {
    worker_task task{options, stores};
    std::array<portable_thread, 3> threads;
    std::size_t started = 0;
    if (options.have_mft) threads[started++].start(mft_worker, &task);
    if (options.have_log) threads[started++].start(log_worker, &task);
    if (options.have_jrnl && !options.streams_journal()) threads[started++].start(jrnl_worker, &task);
    show_status(options, "worker threads spawned");
    for (portable_thread& thread : threads)
        thread.wait();
}

// The rest of the report stands without it.
void say_journal_warnings(const logfile_options& options, const usn_journal& journal) {
    const std::string warnings = warnings_of_journal(journal.reading, options.jrnl_path);
    if (!warnings.empty()) uni::console_write(warnings);
}

// Brings the journal records found in the log into the inode store; says what became of each.
// Kept: once one record has told the store nothing new, no later one counts as unique. The order of the records
// decides, so a log is always listed alike. Where the log was read whole each counts for itself: the oldest comes first
// then, and is in the MFT as a rule.
std::vector<merged_record> merge_log_inodes(evidence& stores) {
    std::vector<merged_record> merged;
    merged.reserve(stores.log.log_inode_records.size());
    bool known_flag = false;
    for (const inode_record& element : stores.log.log_inode_records) {
        bool known = false;
        const std::uint64_t result = merge_inode_record(stores.inodes, element, known, true);
        known_flag = known || (known_flag && !stores.log.keeps_pages);
        const bool taken = result != _inode_collection::not_merged;
        merged.push_back({.store_index = taken ? result : 0, .unique = taken && !known_flag});
    }
    return merged;
}

void combine(const run_context& run, evidence& stores) {
    const logfile_options& options = run.options;
    run.outputs.diags.print(count_level, count_text("found ", stores.inodes.records.size(), " mft entries [mft]"));
    merge_mft_data(stores.inodes, options, run.outputs.diags);
    const std::size_t count = stores.log.log_inode_records.size();
    if (count == 0) return;
    show_status(options, count_text("diags - logfile data: ", count, " entries"));
    const std::vector<merged_record> merged = merge_log_inodes(stores);
    const auto unique = static_cast<std::size_t>(std::ranges::count(merged, true, &merged_record::unique));
    merge_journal_data(stores, merged, options, run.outputs.diags);
    stores.log.log_inode_records.clear();
    stores.log.usn_seen.clear();
    const std::string found = count_text("found ", count, " mft entries [logfile-usnjrnl], ");
    run.outputs.diags.print(count_level, count_text(found, unique, " were unique"));
    if (unique == 0) return;
    show_status(options, count_text("populating subdirs: ", stores.inodes.inodes_by_number.size(), " folders"));
    build_paths(stores.inodes);
}

}  // namespace

std::string misfits_of_inputs(logfile_options options) {
    if (!options.have_log || options.lists_logs() || (!options.have_mft && !options.have_jrnl)) return {};
    options.show_progress = false;
    evidence stores;
    if (open_inputs(options, stores)) return {};
    run_workers(options, stores);
    return misfit_lines(stores, options);
}

bool worker_run(const run_context& run) {
    const logfile_options& options = run.options;
    evidence stores;
    if (const auto unread = open_inputs(options, stores)) {
        say_parsing_failed(options, unread->path, unread->reason);
        return false;
    }
    run_workers(options, stores);
    const bool mft_incomplete = stores.inodes.incomplete;
    if (mft_incomplete) say_reading_failed(run, options.mft_path);
    if (stores.log.incomplete) say_reading_failed(run, options.log_path);
    if (!options.streams_journal() && stores.journal.reading.incomplete) say_reading_failed(run, options.jrnl_path);
    if (!anything_found(options, stores)) {
        const int error = stores.log.open_error;
        say_parsing_failed(options, options.have_log ? options.log_path : options.jrnl_path,
                           error != 0 ? error_words(error) : "no record");
        return false;
    }
    if (options.have_log) say_hints(options, warnings_of_log(stores.log, options.log_path, options));
    if (options.extended && !options.strict) uni::console_write(misfit_lines(stores, options));
    show_status(options, "threads completed, combining data");
    if (!options.show_coverage) combine(run, stores);  // which is about each input as it came
    show_status(options, "threads completed, formatting output");
    run.report.write(stores, {});
    if (stores.inodes.incomplete && !mft_incomplete) say_reading_failed(run, options.mft_path);
    if (options.streams_journal() && stores.journal.reading.incomplete) say_reading_failed(run, options.jrnl_path);
    if (options.extended && !options.jrnl_path.empty()) say_journal_warnings(options, stores.journal);
    run.findings.omitted = stores.inodes.omitted;
    return true;
}

}  // namespace kest
