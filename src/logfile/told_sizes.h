#pragma once

#include <cstdint>
#include <optional>

#include "logfile/log_store.h"

namespace kest {

// What file records in the log tell of the volume. Bytes.
struct told_sizes {
    // A file record holds its own number beside the place that it goes to. The size that most agree on, the smaller one
    // on a tie; nothing if none tells it.
    std::optional<std::uint32_t> cluster;
    std::optional<std::uint32_t> file_record;  // that most state
};

told_sizes find_told_sizes(const log_store& log);

}  // namespace kest
