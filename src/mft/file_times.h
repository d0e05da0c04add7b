#pragma once

#include <algorithm>
#include <cstdint>

namespace kest {

// The four times of a file, as FILETIME values; 0 where there is none.
struct file_times {
    std::uint64_t modified = 0;
    std::uint64_t accessed = 0;
    std::uint64_t mft_changed = 0;
    std::uint64_t created = 0;

    std::uint64_t latest() const { return std::max({modified, accessed, mft_changed, created}); }
};

}  // namespace kest
