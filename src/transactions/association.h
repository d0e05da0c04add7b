#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "inputs/evidence.h"
#include "logfile/log_entry.h"
#include "operations/operation_table.h"
#include "outputs/diagnostics.h"

namespace kest {

// What the file of a log record is believed to be.
struct candidate {
    inode_ref ref;
    std::optional<inode_ref> parent;  // the first one
    std::string name;
    std::string path;  // empty: not known
    bool path_set = false;
    bool is_directory = false;
    bool is_base = false;
    std::uint32_t flags = 0;
    std::optional<std::uint64_t> base_record;  // the first one
    std::optional<std::uint32_t> source;       // position of the store's record that this is a copy of

    void clear();  // strings keep their capacity
};

// How what the log says of a file differs from what was found.
enum class match_conflict { none, parent, sequence };

// A log record and its file. The first part is what holds of the file from here on: what the record's own data state,
// completed by what was found.
struct file_match {
    inode_ref file;    // number 0: unknown; sequence 0: unknown
    inode_ref parent;  // likewise
    std::string_view name;
    std::string_view path;        // empty: unknown
    std::string_view owner_path;  // path of the inode that owns the record's target cluster
    bool guessed = false;         // the association is not certain

    // What was found: a file or an owner of the target cluster, or nothing.
    const candidate* found = nullptr;
    std::optional<std::uint64_t> extension;  // number of the extension record that stood for `found`
    match_conflict conflict = match_conflict::none;
    bool parent_found = false;                // the record's own data do not state the parent
    std::uint64_t owner = 0;                  // record number
    const inode_record* directory = nullptr;  // of the owner; in the store
};

// Completes what a log record says of its file from the inode store: inode, sequence number, parent, name and path. The
// one place that guesses. The store grows by what the log proves, so an answer depends on the records that came before.
class association {
public:
    association(evidence& stores, diagnostics& diags, bool guesses_allowed)
        : m_stores(stores), m_inodes(stores.inodes), m_diags(diags), m_guesses_allowed(guesses_allowed) {}

    // Finds the file of the record, whose own data yielded `info`. The answer stands until the next call, and as long
    // as the name of `info` does.
    const file_match& associate_entry(const log_entry& entry, const entry_info& info);

private:
    void find_by_cluster(const log_entry& entry);
    bool choose(inode_ref ref);
    bool take_exact(std::uint32_t position);
    bool take_new_name(bool is_directory, inode_ref ref);
    bool take_other(inode_ref ref);
    bool take_one_lower(inode_ref ref);
    bool take_from_log(inode_ref ref, inode_ref parent);
    bool take_directory_of_number(inode_ref ref);

    void copy_record(std::uint32_t position);
    inode_record candidate_record();
    void offer_to_store();
    void store_new_name(inode_ref ref);
    void resolve_path();
    const inode_record* take_directory_path();
    void settle_match();
    void settle_path(bool names_differ);

    evidence& m_stores;
    _inode_collection& m_inodes;
    diagnostics& m_diags;
    const bool m_guesses_allowed;
    file_match m_match;
    candidate m_candidate;
    std::string m_joined_path;  // that is neither the candidate's nor in the store
    // Every row may enter a copy of some record in the store.
    budget m_parents_copied{16, 1 << 20};
    budget m_names_copied{512, 16 << 20};             // bytes
    const uni::shared_text* m_parent_path = nullptr;  // of the directory that gave the candidate its path; in the store
};

}  // namespace kest
