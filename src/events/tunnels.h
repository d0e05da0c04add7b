#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "events/told_log.h"
#include "mft/record_view.h"

namespace kest {

// A file that is made in a folder shortly after one of the same name went from it gets that one's creation time: the
// system tunnels it. Knows the names that went.
class name_tunnels {
public:
    explicit name_tunnels(const told_log& told) : m_told(told) {}

    // The creation time of the file whose name went last from the folder ahead of the LSN; upper and lower case count
    // as equal. Nothing if there was none.
    std::optional<std::uint64_t> last_creation(inode_ref folder, uni::byte_view name, std::uint64_t lsn);

private:
    struct gone_name {
        std::uint64_t folder;  // record number
        std::uint64_t lsn;
        file_name_view name;
    };

    void collect();

    const told_log& m_told;
    bool m_collected = false;  // it is seldom asked for
    std::vector<gone_name> m_gone;
};

}  // namespace kest
