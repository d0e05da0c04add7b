#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "mft/inode_ref.h"
#include "portable/byte_view.h"

namespace kest {

// The streams of files whose contents the log holds: each has a number in its file, 0 the one without a name.
class content_versions {
public:
    // The stream's number; nothing if these bytes, which live on, are those that it was seen with last.
    std::optional<std::uint32_t> next(inode_ref file, uni::byte_view name, uni::byte_view content);

private:
    struct stream {
        std::uint32_t number = 0;
        std::optional<uni::byte_view> last;
    };
    std::map<std::pair<std::uint64_t, std::string>, stream> m_streams;  // by file and name
    std::map<std::uint64_t, std::uint32_t> m_counts;                    // of named streams, by file
};

}  // namespace kest
