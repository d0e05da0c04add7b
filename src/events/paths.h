#pragma once

#include <string>
#include <vector>

#include "events/names.h"

namespace kest {

// A folder, as it lay at some moment.
struct folder_path {
    std::string text;  // ends in its separator
    known_by known = known_by::log;
    bool of_system = false;  // it is $Extend or lies below it
};

// Follows folders to the root, each by the name that it had at the moment asked for.
class folder_paths {
public:
    explicit folder_paths(name_history& names) : m_names(names) {}

    // Valid until the next call.
    const folder_path& at(inode_ref folder, std::uint64_t lsn);

private:
    bool climb(inode_ref folder, std::uint64_t lsn);
    bool meet(inode_ref folder);

    name_history& m_names;
    folder_path m_path;
    std::vector<held_name> m_parts;        // from the folder up
    uni::seeded_map<std::uint64_t> m_met;  // by file reference: the last climb that met it
    std::uint64_t m_climb = 0;
};

void append_name(std::string& out, const held_name& name);

}  // namespace kest
