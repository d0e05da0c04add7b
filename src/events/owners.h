#pragma once

#include <cstdint>
#include <optional>

#include "events/event.h"
#include "history/file_history.h"
#include "mft/inode_collection.h"

namespace kest {

struct record_owner {
    inode_ref file;                  // sequence number 0: not known
    known_by known = known_by::log;  // by what: `part` for nothing
};

// Which file each file record held when, by the replayed history; where the log says nothing of a record, by the MFT.
class record_owners {
public:
    record_owners(const file_timeline& timeline, const _inode_collection& inodes, std::uint64_t highest_lsn,
                  bool guesses_allowed)
        : m_timeline(timeline), m_inodes(inodes), m_highest_lsn(highest_lsn), m_guesses_allowed(guesses_allowed) {}

    // The file that a change is about: the base record's where it is about an extension record.
    record_owner owner_of(const record_change& change, std::uint64_t lsn) const;
    // Whether the file is a folder, by the log or else by the MFT; nothing if it is not known.
    std::optional<bool> is_directory(inode_ref file) const;

private:
    record_owner stored_owner(std::uint64_t number) const;

    const file_timeline& m_timeline;
    const _inode_collection& m_inodes;
    const std::uint64_t m_highest_lsn;
    const bool m_guesses_allowed;
};

}  // namespace kest
