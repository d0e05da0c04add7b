#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "events/told_log.h"
#include "mft/inode_collection.h"
#include "portable/key_groups.h"
#include "portable/seeded_map.h"

namespace kest {

struct record_holder {
    inode_ref file;  // sequence number 0: not known
    owner_source source = owner_source::none;
};

// The record of exactly this file in the MFT: in use, or given up since, when its sequence number is one higher. Null
// if there is none.
const inode_record* stored_file(const _inode_collection& inodes, inode_ref file);
// The record of an MFT that has this number and is in use; null if none.
const inode_record* record_in_use(const _inode_collection& inodes, std::uint64_t number);

// Whether the file that a fact is about is a folder; nothing if the fact does not say so.
std::optional<bool> folder_by(const told_fact& fact);

// Which file each file record held when, by what the log's transactions prove of it; where the log tells nothing of a
// record, by the MFT. Undone facts count for nothing.
class record_lives {
public:
    record_lives(const told_log& told, const _inode_collection& inodes, bool guesses_allowed);

    // The file that a fact is about: the base record's where it is about an extension record, and with the sequence
    // number that the record had then where the fact lacks it.
    record_holder owner_of(const told_fact& fact) const;

    // Whether the file is a folder, by the log or else by the MFT; nothing if it is not known.
    std::optional<bool> is_directory(inode_ref file) const;

private:
    enum class sign : std::uint8_t { born, died, seen };
    struct life_mark {
        std::uint64_t lsn;
        std::uint16_t sequence;
        sign what;
    };
    struct extension_mark {
        std::uint64_t lsn;
        inode_ref base;
    };

    void learn(std::span<const told_fact> facts);
    void learn_fact(const told_fact& fact, bool born_here);
    void mark(inode_ref file, std::uint64_t lsn, sign what);
    void mark_folder(inode_ref file, std::uint64_t lsn);
    void seal();
    record_holder holder_at(std::uint64_t number, std::uint64_t lsn) const;
    inode_ref base_of(std::uint64_t number, std::uint64_t lsn) const;
    inode_ref base_in_log(std::uint64_t number, std::uint64_t lsn) const;
    bool born_between(std::uint64_t number, std::uint64_t first, std::uint64_t last) const;

    const _inode_collection& m_inodes;
    const std::uint64_t m_highest_lsn;
    const bool m_guesses_allowed;
    // All by record number, then LSN.
    uni::key_groups<life_mark> m_marks;
    uni::key_groups<extension_mark> m_extensions;
    uni::key_groups<std::uint64_t> m_births;  // LSNs
    uni::seeded_map<bool> m_directories;      // by file reference
};

}  // namespace kest
