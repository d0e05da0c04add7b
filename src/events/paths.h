#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "events/names.h"
#include "mft/limits.h"

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
    // `omitted` is told of paths that were cut.
    folder_paths(name_history& names, left_out& omitted) : m_names(names), m_omitted(omitted) {}

    // Valid until the next call.
    const folder_path& at(inode_ref folder, std::uint64_t lsn);
    // Likewise when the record at `place` of the journal file was written.
    const folder_path& in_journal(inode_ref folder, std::uint64_t place, std::uint64_t lsn);

private:
    // The moment that the kept paths are of: an LSN, and so many renames in the journal file.
    struct kept_moment {
        std::uint64_t lsn = 0;
        std::uint64_t renames = 0;
        bool operator==(const kept_moment&) const = default;
    };

    void forget();
    template <class name_source>
    const folder_path& build(inode_ref folder, name_source&& name_of);
    template <class name_source>
    bool climb(inode_ref folder, name_source&& name_of);
    bool meet(inode_ref folder);

    name_history& m_names;
    left_out& m_omitted;
    folder_path m_path;
    std::vector<held_name> m_parts;        // from the folder up
    uni::seeded_map<std::uint64_t> m_met;  // by file reference: the last climb that met it
    std::uint64_t m_climb = 0;
    kept_moment m_moment;
    uni::seeded_map<std::uint32_t> m_kept_places;  // by file reference: places in `m_kept`, from 1
    std::vector<folder_path> m_kept;
    std::size_t m_kept_bytes = 0;
};

// Makes `path` a file's path: `folder`, which ends in its separator, its name, and behind ":" the name of a stream. No
// other path looks like it. `name_hex` becomes the UTF-16 of what stands behind the folder, in hexadecimal, if that
// needed words.
void set_path(std::string& path, std::string& name_hex, std::string_view folder, const held_name& name,
              uni::byte_view stream = {});

}  // namespace kest
