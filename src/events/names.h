#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "events/event.h"
#include "history/file_timeline.h"
#include "mft/inode_collection.h"

namespace kest {

class journal_folders;

// A name of a file, at some moment.
struct held_name {
    inode_ref parent = {};
    uni::byte_view units = {};     // UTF-16
    std::string_view stored = {};  // UTF-8; where the MFT has it and this says it all
    known_by known = known_by::log;
};

// What each file was called at any LSN: by the log, then by a journal file, then by the MFT.
class name_history {
public:
    name_history(const file_timeline& timeline, const _inode_collection& inodes)
        : m_timeline(timeline), m_inodes(inodes) {}

    // A long name rather than a DOS one, of several the one that came last. None for the root, which needs none.
    std::optional<held_name> name_at(inode_ref file, std::uint64_t lsn) const;

    // What a journal file told of folders, to be asked from now on; `for_log`: also by `name_at`, ahead of the MFT, at
    // the place in the file that was set last.
    void consult(const journal_folders& folders, bool for_log);
    void set_journal_place(std::uint64_t place) { m_journal_place = place; }
    // The same at a place in the journal file, whose own word comes first.
    std::optional<held_name> name_in_journal(inode_ref file, std::uint64_t place, std::uint64_t lsn) const;
    std::uint64_t renames_in_journal(std::uint64_t place) const;

private:
    std::optional<held_name> folder_name(inode_ref file, std::uint64_t place) const;
    // A name that is told to be unknown is none, and nobody else is asked.
    static std::optional<held_name> known_name(const held_name& told) {
        return told.known != known_by::part ? std::optional(told) : std::nullopt;
    }
    std::optional<held_name> stored_name(inode_ref file) const;

    const file_timeline& m_timeline;
    const _inode_collection& m_inodes;
    const journal_folders* m_folders = nullptr;
    bool m_folders_count = false;
    std::uint64_t m_journal_place = 0;
};

}  // namespace kest
