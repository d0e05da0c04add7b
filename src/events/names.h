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

// A name of a file, at some moment.
struct held_name {
    inode_ref parent = {};
    uni::byte_view units = {};     // UTF-16; where the log told it
    std::string_view stored = {};  // UTF-8; where the MFT did
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
    std::optional<held_name> journal_name(inode_ref file, std::uint64_t lsn) const;
    static held_name told_name(const name_word& word);

    const _inode_collection& m_inodes;
    uni::key_groups<name_word> m_words;             // by file, then LSN
    uni::key_groups<journal_word> m_journal_words;  // likewise
    std::vector<name_state> m_states;               // of the files that were asked for
    uni::seeded_map<std::uint32_t> m_states_begin;  // of a file, counted from 1
    std::vector<std::uint32_t> m_name_ids;  // of the words of the file at hand: equal for equal names in one folder
    std::vector<std::uint32_t> m_order;
};

}  // namespace kest
