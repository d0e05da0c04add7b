#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "events/event.h"
#include "history/file_history.h"
#include "mft/inode_collection.h"

namespace kest {

class journal_folders;

inline constexpr std::uint64_t root_number = 5;
inline constexpr std::uint64_t extend_number = 11;

// What the file system keeps for itself. The root is among those numbers, and not of them.
constexpr bool is_system_file(std::uint64_t number) {
    constexpr std::uint64_t first_user_file = 24;
    return number < first_user_file && number != root_number;
}

struct record_owner {
    inode_ref file;                         // sequence number 0: not known
    name_source source = name_source::log;  // by what: `part` for nothing
};

// A name of a file, at some moment.
struct resolved_name {
    inode_ref parent = {};
    uni::byte_view units = {};     // UTF-16
    std::string_view stored = {};  // UTF-8; where the MFT has it and this says it all
    name_source source = name_source::log;
};

// A point in the log; with an offset one in the journal file, whose own statements then come first.
struct moment {
    std::uint64_t lsn = 0;
    std::optional<std::uint64_t> journal_offset = {};
};

// Which file each file record held at any LSN, and what it was called: by the log, then by a journal file, then by the
// MFT.
class file_names {
public:
    file_names(const file_timeline& timeline, const _inode_collection& inodes, std::uint64_t highest_lsn,
               bool guesses_allowed)
        : m_timeline(timeline), m_inodes(inodes), m_highest_lsn(highest_lsn), m_guesses_allowed(guesses_allowed) {}

    // The file that a change is about: the base record's where it is about an extension record.
    record_owner owner_of(const record_change& change, std::uint64_t lsn) const;
    // By the log or else by the MFT; nothing if it is not known.
    std::optional<bool> is_directory(inode_ref file) const;
    // A long name rather than a DOS one, of several the newest. None for the root, which needs none.
    std::optional<resolved_name> name_at(inode_ref file, const moment& when) const;

    // What a journal file states of folders. `for_log`: names at a point in the log ask it, too, at the offset set
    // last.
    void use_journal(const journal_folders& folders, bool for_log) {
        m_folders = &folders;
        m_folders_count = for_log;
    }
    void set_journal_offset(std::uint64_t offset) { m_journal_offset = offset; }
    // While this stays, no folder gets another name by the journal file.
    std::uint64_t renames_until(std::uint64_t journal_offset) const;

private:
    record_owner stored_owner(std::uint64_t number) const;
    std::optional<resolved_name> stored_name(inode_ref file) const;

    const file_timeline& m_timeline;
    const _inode_collection& m_inodes;
    const std::uint64_t m_highest_lsn;
    const bool m_guesses_allowed;
    const journal_folders* m_folders = nullptr;
    bool m_folders_count = false;
    std::uint64_t m_journal_offset = 0;
};

}  // namespace kest
