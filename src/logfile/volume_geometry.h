#pragma once

#include <cstdint>
#include <optional>

#include "logfile/log_entry.h"

namespace kest {

struct log_store;

inline constexpr std::uint32_t usual_cluster_size = 4096;  // bytes

// What it takes to find the file record that a log record writes to: it names a cluster and a block of 512 bytes.
// Bytes.
struct mft_geometry {
    std::uint32_t cluster_size = usual_cluster_size;
    std::uint32_t record_size = 1024;  // where a log record does not state it
};

// A power of two from 512 bytes to 2 MiB.
bool is_cluster_size(std::uint64_t size);

// The size of the block that a log record writes to, if that is the size of a file record. 0 if not: logs of older
// systems state it nowhere.
std::uint32_t stated_record_size(const log_entry& entry);

// Where the block lies in its cluster. Bytes.
std::uint64_t offset_in_cluster(const log_entry& entry);

// The number of the file record at the offset that a log record states; 0 for one that no volume can have.
std::uint64_t file_record_at(const log_entry& entry, const mft_geometry& geometry);

// The same as rows show it; 0 also for a record whose target they do not take for a file record.
std::uint64_t record_inode(const log_entry& entry, const mft_geometry& geometry);

// What file records in the log state of the volume. Bytes.
struct voted_sizes {
    // A file record holds its own number beside the offset that it goes to. The size that most agree on, the smaller
    // one on a tie; nothing if none states it.
    std::optional<std::uint32_t> cluster;
    std::optional<std::uint32_t> file_record;  // that most state
};

voted_sizes find_voted_sizes(const log_store& log);

// What it takes to find file records in the log, and where each part is from. Bytes.
struct volume_geometry {
    std::optional<std::uint32_t> stated_cluster;  // by the client's restart records, the newest
    std::optional<std::uint32_t> voted_cluster;   // by the file records that hold their own numbers
    std::optional<std::uint32_t> voted_record;    // by the file records, else by what log records say of their target

    std::uint32_t cluster_size() const { return stated_cluster.value_or(voted_cluster.value_or(usual_cluster_size)); }
    std::uint32_t record_size() const { return voted_record.value_or(mft_geometry{}.record_size); }
    // The records state another size than the client.
    bool contradicted() const { return stated_cluster && voted_cluster && *stated_cluster != *voted_cluster; }
};

volume_geometry find_volume_geometry(const log_store& log);

// Whether the bytes that a log record writes lie at this offset of their attribute, as a journal record does at its
// USN.
bool is_written_at(const log_entry& entry, std::uint32_t cluster_size, std::uint64_t offset);

}  // namespace kest
