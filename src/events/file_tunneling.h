#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "history/file_history.h"
#include "operations/log_facts.h"

namespace kest {

// File system tunneling: a file that is made in a folder shortly after one of the same name was removed from it gets
// that one's creation time. Knows the removed names, by index entries and by file records.
class file_tunneling {
public:
    file_tunneling(const log_facts& facts, const file_history& history) : m_facts(facts), m_history(history) {}

    struct removal {
        std::uint32_t transaction;
        std::uint32_t position;  // in the log
    };
    // Where the name was removed from the folder, the last time before this position in the log, if the file of that
    // name was created then; upper and lower case count as equal.
    std::optional<removal> removal_of(std::uint64_t creation, inode_ref folder, uni::byte_view name,
                                      std::uint32_t position);

private:
    struct removed_name {
        std::uint64_t folder;  // record number
        uni::byte_view name;
        removal removed;
        std::uint64_t creation;
    };

    static bool comes_before(const removed_name& a, const removed_name& b);
    void collect();
    void add(removal removed, const file_name_view& name);

    const log_facts& m_facts;
    const file_history& m_history;
    bool m_collected = false;  // it is seldom asked for
    std::vector<removed_name> m_removed;
};

}  // namespace kest
