#include "inputs/read_inputs.h"

#include <functional>
#include <new>
#include <utility>
#include <vector>

#include "format/error_words.h"
#include "logfile/scanner.h"
#include "logfile/volume_geometry.h"
#include "mft/mft_reader.h"
#include "portable/console.h"
#include "portable/portable_thread.h"

namespace kest {

namespace {

constexpr double progress_step = 5;  // percent

// Workers share what they are given without a lock: each writes its own store and reads only what was set before it was
// started.

void mft_worker(const input_settings& settings, evidence& stores) {
    uni::percent_meter meter(uni::status_width, progress_step);
    walk_mft_records(
        stores.inodes,
        [&stores](inode_record& record, std::uint32_t position, std::uint64_t inode) {
            index_mft_record(stores.mft, record, position, inode);
        },
        [&](std::uint64_t done, std::uint64_t total) {
            if (settings.show_progress) meter.step(done, total);
        });
    stores.mft.seal();
}

void log_worker(const input_settings& settings, evidence& stores) {
    try {
        // A log that cannot be opened leaves an empty store, and that is reported.
        static_cast<void>(parse_log(stores.log, settings.log, settings));
    } catch (const std::bad_alloc&) {
        stores.log.incomplete = true;
    }
}

void settle_sizes(log_store& store, const input_settings& settings) {
    if (settings.stated_sizes) {
        const voted_sizes stated = find_voted_sizes(store);
        store.geometry.cluster_size = stated.cluster.value_or(store.geometry.cluster_size);
        store.geometry.record_size = stated.file_record.value_or(store.geometry.record_size);
    }
    store.geometry.cluster_size = settings.cluster_size.value_or(store.geometry.cluster_size);
}

}  // namespace

bool parse_log(log_store& store, const input_source& source, const input_settings& settings) {
    const opened_source opened = open_source(source, settings.reads_ahead);
    if (settings.counts_pages) store.pages.emplace();
    store.keeps_pages = settings.keeps_pages;
    store.keeps_torn = settings.keeps_torn;
    if (store.keeps_pages) store.carry.drop();  // nothing of the log before this one
    store.open_error = opened.error;
    if (!opened.bytes) return false;
    scan_logfile(store, *opened.bytes);
    if (store.keeps_pages) complete_log(store);
    settle_sizes(store, settings);
    return true;
}

std::optional<unread_input> open_inputs(const input_settings& settings, evidence& stores) {
    const auto resync = settings.every_record ? journal_resync::at_records : journal_resync::at_pages;
    if (settings.mft.given()) {
        const opened_source mft = open_source(settings.mft);
        if (!mft.bytes) return unread_input{settings.mft.path, error_words(mft.error)};
        if (!load_mft(stores.inodes, mft.bytes)) return unread_input{settings.mft.path, "no file record"};
    }
    if (settings.journal.given()) {
        const opened_source journal = open_source(settings.journal, settings.reads_ahead);
        if (!journal.bytes) return unread_input{settings.journal.path, error_words(journal.error)};
        if (!open_journal(stores.journal, journal.bytes, resync)) {
            return unread_input{settings.journal.path, "too short"};
        }
    }
    return std::nullopt;
}

void read_inputs(const input_settings& settings, evidence& stores) {
    std::vector<portable_thread> threads;
    threads.reserve(3);
    const auto start = [&threads, words = uni::words_kept::of_thread()](const std::function<void()>& body) {
        threads.emplace_back([words, body] {
            const uni::words_joined joined(words);
            body();
        });
    };
    if (settings.have_mft) start([&] { mft_worker(settings, stores); });
    if (settings.have_log) start([&] { log_worker(settings, stores); });
    if (settings.have_jrnl && !settings.streams_journal()) start([&] { scan_journal(stores.journal); });
    if (settings.show_progress) uni::status_line(uni::status_width, "worker threads spawned");
    for (portable_thread& thread : threads)
        thread.wait();
}

// Kept: once one record has brought the store nothing new, no later one counts as unique. The order of the records
// decides, so a log is always listed alike. Where the log was read whole each counts for itself: the oldest comes first
// then, and is in the MFT as a rule.
std::vector<merged_record> merge_log_inodes(evidence& stores) {
    std::vector<merged_record> merged;
    merged.reserve(stores.log.journal_records.size());
    bool known_flag = false;
    for (const std::uint32_t position : stores.log.journal_records) {
        const inode_record element = file_of_journal_record(stores.log.entries[position]);
        bool known = false;
        const std::uint64_t result = merge_inode_record(stores.inodes, element, known, true);
        known_flag = known || (known_flag && !stores.log.keeps_pages);
        const bool taken = result != _inode_collection::not_merged;
        merged.push_back({.store_index = taken ? result : 0, .unique = taken && !known_flag});
    }
    return merged;
}

void store_log_inodes(evidence& stores) {
    keep_left_journal_records(stores.log);
    if (stores.log.journal_records.empty()) return;
    stores.inodes.records.reserve(stores.log.journal_records.size());
    for (const std::uint32_t position : stores.log.journal_records) {
        bool known = false;
        add_inode_record(stores.inodes, file_of_journal_record(stores.log.entries[position]), known);
    }
    stores.log.journal_records = {};
    build_paths(stores.inodes);
}

}  // namespace kest
