#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "events/file_names.h"
#include "mft/limits.h"

namespace kest {

inline constexpr std::string_view root_path = "[root]\\";

// A folder, where it lay at some moment.
struct folder_path {
    std::string text;  // ends in its separator
    name_source source = name_source::log;
    bool of_system = false;  // it is $Extend or lies below it
};

// Follows folders to the root, each by the name that it had at the moment asked for.
class folder_paths {
public:
    // `omitted` learns of paths that were cut.
    folder_paths(const file_names& names, limits_hit& omitted) : m_names(names), m_omitted(omitted) {}

    // Valid until the next call.
    const folder_path& at(inode_ref folder, const moment& when);

private:
    void build(folder_path& path, inode_ref folder, const moment& when);
    bool climb(folder_path& path, inode_ref folder, const moment& when);

    const file_names& m_names;
    limits_hit& m_omitted;
    folder_path m_path;
    std::optional<std::pair<std::uint64_t, std::uint64_t>> m_asked;  // what it is the path of: file reference and LSN
    std::vector<resolved_name> m_parts;                              // from the folder up
    uni::seeded_map<std::uint64_t> m_met;                            // by file reference: the last climb that met it
    std::uint64_t m_climb = 0;
    std::pair<std::uint64_t, std::uint64_t> m_moment;  // of the kept paths: an LSN, and renames in the journal file
    uni::seeded_map<folder_path> m_kept;               // by file reference
    std::size_t m_kept_bytes = 0;
};

// Makes `path` a file's path: `folder`, which ends in its separator, its name, and after ":" the name of a stream. No
// other path looks like it. `name_hex` becomes the UTF-16 of what stands after the folder, in hexadecimal, if that
// needed words.
void set_path(std::string& path, std::string& name_hex, std::string_view folder, const resolved_name& name,
              uni::byte_view stream = {});

}  // namespace kest
