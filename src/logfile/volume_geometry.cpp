#include "logfile/volume_geometry.h"

#include "logfile/operation.h"
#include "logfile/mft_geometry.h"

namespace kest {

namespace {

using namespace record_layout;

// In the data of a client's restart record.
constexpr uni::field<std::uint32_t> bytes_per_cluster{client_begin + 80};

// What the records that write to attributes state most often; nothing if they are too old to state it.
std::optional<std::uint32_t> stated_by_most(const log_store& log) {
    std::uint32_t small = 0;
    std::uint32_t large = 0;
    for (const log_entry& entry : log.entries) {
        if (entry.redo_op < operation_code::create_attribute) continue;
        if (entry.redo_op > operation_code::update_resident_value) continue;
        const std::uint32_t size = stated_record_size(entry);
        small += size == 1024 ? 1 : 0;
        large += size == 4096 ? 1 : 0;
    }
    if (small == 0 && large == 0) return std::nullopt;
    return small >= large ? 1024 : 4096;
}

}  // namespace

volume_geometry find_volume_geometry(const log_store& log) {
    const voted_sizes voted = find_voted_sizes(log);
    volume_geometry geometry{.stated_cluster = {}, .voted_cluster = voted.cluster, .voted_record = {}};
    const bool usual = voted.file_record == 1024U || voted.file_record == 4096U;
    geometry.voted_record = usual ? voted.file_record : stated_by_most(log);
    std::uint64_t newest = 0;
    for (const log_entry& entry : log.entries) {
        if (entry.get(record_type) != record_types::restart || entry.this_lsn < newest) continue;
        const std::uint32_t size = entry.get(bytes_per_cluster);
        if (!is_cluster_size(size)) continue;
        newest = entry.this_lsn;
        geometry.stated_cluster = size;
    }
    return geometry;
}

bool is_written_at(const log_entry& entry, std::uint32_t cluster_size, std::uint64_t place) {
    return entry.get(target_vcn) * cluster_size + offset_in_cluster(entry) + entry.get(record_offset) +
               entry.get(attribute_offset) ==
           place;
}

}  // namespace kest
