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
        inode_ref file;
        std::uint64_t lsn;
        std::uint32_t arrival;
        sign what;
        file_name_view name;
    };
    // What the words on one file come to. The name holds from the word of the same place on.
    struct name_state {
        std::uint32_t word = none;
        bool weak = false;  // no more than a name that it got later: the MFT may know better
    };
    struct file_range {
        std::uint32_t begin = 0;
        std::uint32_t end = 0;
        std::uint32_t states = none;  // where its states begin: that ahead of all words, then one behind each
    };
    static constexpr std::uint32_t none = 0xFFFF'FFFF;

    void learn(const told_fact& fact);
    void seal();
    void replay(file_range& range);
    void number_names(std::span<const name_word> words);
    held_name told_name(std::uint32_t word) const;

    const _inode_collection& m_inodes;
    std::vector<name_word> m_words;  // by file, then LSN
    uni::seeded_map<file_range> m_ranges;
    std::vector<name_state> m_states;       // of the files that were asked for
    std::vector<std::uint32_t> m_name_ids;  // of the words of the file at hand: equal for equal names in one folder
    std::vector<std::uint32_t> m_order;
};

}  // namespace kest
