#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "inputs/evidence.h"
#include "inputs/input_source.h"

namespace kest {

// What is read, and how.
struct input_settings : source_set {
    bool have_log = false;
    bool have_mft = false;
    bool have_jrnl = false;
    bool keeps_pages = false;   // transactions whose beginning is lost are read too
    bool keeps_torn = true;     // what torn sectors of the log hold is read, too
    bool counts_pages = false;  // what of the log was read is counted
    bool keeps_journal = true;  // for look-ups; otherwise the report reads the journal file by itself, record by record
    bool every_record = false;  // of a journal; otherwise bytes that are no record hide the rest of their page
    bool show_progress = true;
    bool reads_ahead = true;    // on threads, what is large; otherwise sets of a case take the processors
    bool stated_sizes = false;  // cluster and file record have the sizes that the log states
    std::optional<std::uint32_t> cluster_size;  // bytes; none: the usual one, or that which the log states

    bool streams_journal() const { return !keeps_journal && journal.given(); }
};

// Scans a log and links its transactions. False, with nothing in the store, if it cannot be opened.
[[nodiscard]] bool parse_log(log_store& store, const input_source& source, const input_settings& settings);

// An input that cannot be read.
struct unread_input {
    std::string path;
    std::string reason;
};

// Opens what comes with the log, before any thread is started. Nothing if all of it can be read.
std::optional<unread_input> open_inputs(const input_settings& settings, evidence& stores);

// Reads the log and what was opened, each on a thread of its own.
void read_inputs(const input_settings& settings, evidence& stores);

// What became of one journal record found in the log.
struct merged_record {
    std::uint64_t store_index = 0;  // what `merge_inode_record` gave; 0: the store took none
    bool unique = false;
};
// Brings the journal records found in the log into the inode store.
std::vector<merged_record> merge_log_inodes(evidence& stores);

// The same where nothing else is known of the volume's files.
void store_log_inodes(evidence& stores);

}  // namespace kest
