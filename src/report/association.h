#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "driver/logfile_options.h"
#include "logfile/log_entry.h"
#include "operations/entry_info.h"

namespace kest {

// Completes what a log record says of its file from the inode store: inode, sequence number, parent, name, path,
// and the bracketed text of the details. The one place that guesses. The store grows by what the log proves, so an
// answer depends on the records that came before.
class association {
public:
    explicit association(logfile_options& options) : m_options(options) {}

    // Adds to `info` what is found; leaves it as it stands where nothing fits. `info.path`, `info.owner_path` and
    // `info.guessed` are clear.
    void associate_entry(const log_entry& entry, entry_info& info);

private:
    // What the record's file is believed to be. Strings keep their capacity from one record to the next.
    struct candidate {
        inode_ref ref;
        std::optional<inode_ref> parent;  // the first one
        std::string name;
        std::string path;
        bool path_set = false;
        bool is_directory = false;
        bool is_base = false;
        std::uint32_t flags = 0;
        std::optional<std::uint64_t> base_record;  // the first one
        std::optional<std::uint32_t> source;       // the store's record that this is a copy of

        void clear();
    };

    void place_by_cluster(const log_entry& entry, entry_info& info);
    bool choose(inode_ref ref, entry_info& info);
    bool take_exact(std::uint32_t position, entry_info& info);
    bool take_new_name(bool is_directory, inode_ref ref, entry_info& info);
    bool take_other(inode_ref ref, entry_info& info);
    bool take_one_lower(inode_ref ref);
    bool take_from_log(inode_ref ref, inode_ref parent, const entry_info& info);
    bool take_directory_of_number(inode_ref ref, entry_info& info);

    void copy_record(std::uint32_t position);
    inode_record candidate_record() const;
    void offer_to_store();
    void store_new_name(inode_ref ref);
    void resolve_path();
    bool take_directory_path();
    void write_details(entry_info& info);
    void write_path(entry_info& info, bool mismatch, bool names_differ);

    logfile_options& m_options;
    candidate m_candidate;
    std::optional<std::uint64_t> m_extension;    // number of the extension record that stood for the file
    const std::string* m_parent_path = nullptr;  // of the directory that gave the candidate its path; in the store
};

}  // namespace kest
