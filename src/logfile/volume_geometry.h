#pragma once

#include <cstdint>
#include <optional>

#include "logfile/log_store.h"

namespace kest {

// What it takes to find file records in the log, and where each part is from. Bytes.
struct volume_geometry {
    std::optional<std::uint32_t> stated_cluster;  // by the client's restart records, the newest
    std::optional<std::uint32_t> voted_cluster;   // by the file records that hold their own numbers
    std::optional<std::uint32_t> voted_record;    // by the file records, else by what log records say of their target

    std::uint32_t cluster_size() const { return stated_cluster.value_or(voted_cluster.value_or(usual_cluster_size)); }
    std::uint32_t record_size() const { return voted_record.value_or(mft_geometry{}.record_size); }
    // The records say otherwise than the client.
    bool contradicted() const { return stated_cluster && voted_cluster && *stated_cluster != *voted_cluster; }
};

volume_geometry find_volume_geometry(const log_store& log);

// Whether the bytes that a log record writes lie at this place of their attribute, as a journal record does at its USN.
bool is_written_at(const log_entry& entry, std::uint32_t cluster_size, std::uint64_t place);

}  // namespace kest
