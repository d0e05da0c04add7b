#pragma once

#include <cstdint>
#include <optional>

#include "logfile/log_store.h"

namespace kest {

// What it takes to tell the file record that a log record writes to: it names a cluster and a block of 512 bytes.
// Bytes.
struct mft_place {
    std::uint32_t cluster_size = 4096;
    std::uint32_t record_size = 1024;  // where a log record does not tell it
};

// The cluster size that the log tells: a new file record holds its own number beside the place that it goes to. The
// size that most records agree on, the smaller one on a tie; nothing if none tells it.
std::optional<std::uint32_t> told_cluster_size(const log_store& log);

// The number of the file record at the place that a log record names; 0 for one that no volume can have.
std::uint64_t file_record_at(const log_entry& entry, const mft_place& place);

}  // namespace kest
