#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "history/file_history.h"
#include "logfile/transaction_states.h"

namespace kest {

// A file that is made in a folder shortly after one of the same name went from it gets that one's creation time: the
// system tunnels it. Knows the names that went, by index entries and by file records.
class name_tunnels {
public:
    name_tunnels(const log_store& log, const transaction_states& states, const file_history& history)
        : m_log(log), m_states(states), m_history(history) {}

    // Whether the file whose name went last from the folder ahead of the LSN was created then; upper and lower case
    // count as equal.
    bool brings_back(std::uint64_t creation, inode_ref folder, uni::byte_view name, std::uint64_t lsn);

private:
    struct gone_name {
        std::uint64_t folder;  // record number
        std::uint64_t lsn;
        file_name_view name;
    };

    void collect();
    void add(std::uint64_t lsn, const file_name_view& name) { m_gone.push_back({name.parent().number(), lsn, name}); }

    const log_store& m_log;
    const transaction_states& m_states;
    const file_history& m_history;
    bool m_collected = false;  // it is seldom asked for
    std::vector<gone_name> m_gone;
};

}  // namespace kest
