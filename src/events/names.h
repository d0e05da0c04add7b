#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "events/event.h"
#include "events/told_log.h"
#include "mft/inode_collection.h"
#include "mft/record_view.h"
#include "portable/key_groups.h"
#include "portable/seeded_map.h"

namespace kest {

class journal_folders;

// A name of a file, at some moment.
struct held_name {
    inode_ref parent = {};
    uni::byte_view units = {};     // UTF-16
    std::string_view stored = {};  // UTF-8; where the MFT told it and this says it all
    known_by known = known_by::log;
};

// The names that the log's transactions gave the files and took from them, so that each can be asked for its name at
// any LSN. What the log does not tell the MFT does. Undone facts count for nothing.
class name_history {
public:
    // The facts have their owners.
    name_history(const told_log& told, const _inode_collection& inodes);

    // A long name rather than a DOS one, of several the one that came last. None for the root, which needs none.
    std::optional<held_name> name_at(inode_ref file, std::uint64_t lsn);

    // What a journal file told of folders, to be asked from now on; `for_log`: also by `name_at`, ahead of the MFT, at
    // the place in the file that was set last.
    void consult(const journal_folders& folders, bool for_log);
    void set_journal_place(std::uint64_t place) { m_journal_place = place; }
    // The same at a place in the journal file, whose own word comes first.
    std::optional<held_name> name_in_journal(inode_ref file, std::uint64_t place, std::uint64_t lsn);
    std::uint64_t renames_in_journal(std::uint64_t place) const;

private:
    enum class sign : std::uint8_t { came, went, there };
    struct name_word {
        std::uint64_t lsn;
        file_name_view name;
        sign what;
    };
    // A name that a journal record tells. It is no proof that the name is there: a link may have gone.
    struct journal_word {
        std::uint64_t lsn;
        inode_ref parent;
        uni::byte_view units;
    };
    // What the words on one file come to: ahead of the first, then behind each.
    struct name_state {
        std::uint32_t word = none;
        bool weak = false;  // no more than a name that it got later: the MFT may know better
    };
    static constexpr std::uint32_t none = 0xFFFF'FFFF;

    void learn(const told_fact& fact);
    std::span<const name_state> states_of(inode_ref file, std::span<const name_word> words);
    void replay(std::span<const name_word> words, std::span<name_state> states);
    void number_names(std::span<const name_word> words);
    std::optional<held_name> folder_name(inode_ref file, std::uint64_t place) const;
    // A name that is told to be unknown is none, and nobody else is asked.
    static std::optional<held_name> known_name(const held_name& told) {
        return told.known != known_by::part ? std::optional(told) : std::nullopt;
    }
    std::optional<held_name> stored_name(const inode_record& stored) const;
    std::optional<held_name> journal_name(inode_ref file, std::uint64_t lsn) const;
    static held_name told_name(const name_word& word);

    const _inode_collection& m_inodes;
    const journal_folders* m_folders = nullptr;
    bool m_folders_count = false;
    std::uint64_t m_journal_place = 0;
    uni::key_groups<name_word> m_words;             // by file, then LSN
    uni::key_groups<journal_word> m_journal_words;  // likewise
    std::vector<name_state> m_states;               // of the files that were asked for
    uni::seeded_map<std::uint32_t> m_states_begin;  // of a file, counted from 1
    std::vector<std::uint32_t> m_name_ids;  // of the words of the file at hand: equal for equal names in one folder
    std::vector<std::uint32_t> m_order;
};

}  // namespace kest
