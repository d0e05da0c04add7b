#include "logfile/volume_geometry.h"

#include <algorithm>
#include <array>
#include <bit>

#include "logfile/log_store.h"
#include "logfile/operation.h"
#include "mft/record_view.h"

namespace kest {

namespace {

using namespace record_layout;

constexpr std::uint32_t block_size = 512;  // of the block offsets and block sizes of a log record
constexpr std::uint32_t smallest_cluster = 512;
constexpr std::uint32_t largest_cluster = 2U << 20;
constexpr std::uint64_t most_file_records = std::uint64_t{1} << 32;
constexpr std::uint64_t highest_vcn = most_file_records * 4096 / smallest_cluster;

// Kept: only whole file records of 1024 bytes are distinguished; any other offset in the cluster counts as its first.
constexpr std::uint64_t file_record_in_cluster(std::uint16_t sectors) {
    return sectors == 2 || sectors == 4 || sectors == 6 ? sectors / 2U : 0U;
}

}  // namespace

bool is_cluster_size(std::uint64_t size) {
    return size >= smallest_cluster && size <= largest_cluster && std::has_single_bit(size);
}

std::uint32_t stated_record_size(const log_entry& entry) {
    const std::uint32_t blocks = entry.get(target_block_size);
    return blocks == 2 || blocks == 8 ? blocks * block_size : 0;
}

std::uint64_t offset_in_cluster(const log_entry& entry) {
    return std::uint64_t{entry.get(cluster_block_offset)} * block_size;
}

std::uint64_t file_record_at(const log_entry& entry, const mft_geometry& geometry) {
    const std::uint64_t vcn = entry.get(target_vcn);
    if (vcn > highest_vcn) return 0;
    const std::uint32_t stated = stated_record_size(entry);
    const std::uint64_t number =
        (vcn * geometry.cluster_size + offset_in_cluster(entry)) / (stated != 0 ? stated : geometry.record_size);
    return number < most_file_records ? number : 0;
}

// Kept: with clusters of 4096 bytes the file records of the first cluster are not distinguished from record 0.
std::uint64_t record_inode(const log_entry& entry, const mft_geometry& geometry) {
    if (!record_has_inode(entry)) return 0;
    if (geometry.cluster_size != usual_cluster_size) return file_record_at(entry, geometry);
    const std::uint64_t vcn = entry.get(target_vcn);
    const std::uint64_t per_cluster = usual_cluster_size / stated_record_size(entry);
    return vcn != 0 ? file_record_in_cluster(entry.get(cluster_block_offset)) + per_cluster * vcn : 0;
}

namespace {

using namespace operation_code;

// How often each power of two was stated.
class size_votes {
public:
    void add(std::uint64_t size) {
        if (is_cluster_size(size)) ++m_count[static_cast<unsigned>(std::countr_zero(size))];
    }
    std::optional<std::uint32_t> winner() const {
        const auto most = std::ranges::max_element(m_count);
        if (*most == 0) return std::nullopt;
        return 1U << (most - m_count.begin());
    }

private:
    std::array<std::uint32_t, 32> m_count{};
};

// The file record that a log record puts into the MFT, or that was there before; empty if there is none.
uni::byte_view file_record_of(const log_entry& entry) {
    uni::byte_view bytes;
    if (entry.redo_op() == initialize_file_record_segment) {
        bytes = exact_redo(entry);
    } else if (entry.undo_op() == initialize_file_record_segment) {
        bytes = exact_undo(entry);
    }
    if (bytes.get(file_record_layout::signature) != file_record_layout::file_signature) return {};
    return entry.of_client() ? bytes : uni::byte_view{};
}

// In the first cluster any size gives the same numbers.
void vote_for_cluster(size_votes& votes, const log_entry& entry, const file_record_view& record) {
    const std::optional<std::uint64_t> number = record.own_number();
    const std::uint64_t vcn = entry.get(record_layout::target_vcn);
    if (!number || vcn == 0) return;
    const std::uint32_t stated = stated_record_size(entry);
    const std::uint64_t offset = *number * (stated != 0 ? stated : record.record_room());
    if (offset <= offset_in_cluster(entry)) return;
    const std::uint64_t before = offset - offset_in_cluster(entry);
    if (before % vcn == 0) votes.add(before / vcn);
}

}  // namespace

voted_sizes find_voted_sizes(const log_store& log) {
    size_votes cluster;
    size_votes file_record;
    for (const log_entry& entry : log.entries) {
        const file_record_view record(file_record_of(entry));
        if (!record.has_header()) continue;
        file_record.add(record.record_room());
        vote_for_cluster(cluster, entry, record);
    }
    return {cluster.winner(), file_record.winner()};
}

namespace {

// In the data of a client's restart record.
constexpr uni::field<std::uint32_t> bytes_per_cluster{client_begin + 80};

// What the records that write to attributes state most often; nothing if they are too old to state it.
std::optional<std::uint32_t> stated_by_most(const log_store& log) {
    std::uint32_t small = 0;
    std::uint32_t large = 0;
    for (const log_entry& entry : log.entries) {
        if (entry.redo_op() < operation_code::create_attribute) continue;
        if (entry.redo_op() > operation_code::update_resident_value) continue;
        const std::uint32_t size = stated_record_size(entry);
        small += size == 1024 ? 1 : 0;
        large += size == 4096 ? 1 : 0;
    }
    if (small == 0 && large == 0) return std::nullopt;
    return small >= large ? 1024 : 4096;
}

}  // namespace

volume_geometry find_volume_geometry(const log_store& log) {
    if (log.volume) return *log.volume;
    const voted_sizes voted = find_voted_sizes(log);
    volume_geometry geometry{.stated_cluster = {}, .voted_cluster = voted.cluster, .voted_record = {}};
    const bool usual = voted.file_record == 1024U || voted.file_record == 4096U;
    geometry.voted_record = usual ? voted.file_record : stated_by_most(log);
    std::uint64_t newest = 0;
    for (const std::uint32_t position : log.restart_records) {
        const log_entry& entry = log.entries[position];
        if (entry.this_lsn() < newest) continue;
        const std::uint32_t size = entry.get(bytes_per_cluster);
        if (!is_cluster_size(size)) continue;
        newest = entry.this_lsn();
        geometry.stated_cluster = size;
    }
    return geometry;
}

bool is_written_at(const log_entry& entry, std::uint32_t cluster_size, std::uint64_t offset) {
    return entry.get(target_vcn) * cluster_size + offset_in_cluster(entry) + entry.get(record_offset) +
               entry.get(attribute_offset) ==
           offset;
}

}  // namespace kest
