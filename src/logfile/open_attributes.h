#pragma once

#include <cstdint>
#include <optional>

#include "logfile/log_entry.h"
#include "mft/inode_ref.h"
#include "portable/seeded_map.h"

namespace kest {

// Which file the target attribute of a log record is of, as far as the records until then show it.
class open_attributes {
public:
    // Takes what a record states of the table: one attribute that is opened, or all as a checkpoint has them. Records
    // come by LSN.
    void learn(const log_entry& entry);
    std::optional<inode_ref> file_of(const log_entry& entry) const;

private:
    void take_entry(std::uint32_t place, uni::byte_view entry);

    uni::seeded_map<inode_ref> m_files;  // by place in the table
};

}  // namespace kest
