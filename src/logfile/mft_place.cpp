#include "logfile/mft_place.h"

#include <bit>

namespace kest {

namespace {

using namespace record_layout;

constexpr std::uint32_t block_size = 512;  // of the block offsets and block sizes of a log record
constexpr std::uint32_t smallest_cluster = 512;
constexpr std::uint32_t largest_cluster = 2U << 20;
constexpr std::uint64_t most_file_records = std::uint64_t{1} << 32;
constexpr std::uint64_t highest_vcn = most_file_records * 4096 / smallest_cluster;

// Kept: only whole file records of 1024 bytes are told apart; any other place in the cluster counts as its first.
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

std::uint64_t place_in_cluster(const log_entry& entry) {
    return std::uint64_t{entry.get(cluster_block_offset)} * block_size;
}

std::uint64_t file_record_at(const log_entry& entry, const mft_place& place) {
    const std::uint64_t vcn = entry.get(target_vcn);
    if (vcn > highest_vcn) return 0;
    const std::uint32_t stated = stated_record_size(entry);
    const std::uint64_t number =
        (vcn * place.cluster_size + place_in_cluster(entry)) / (stated != 0 ? stated : place.record_size);
    return number < most_file_records ? number : 0;
}

// Kept: with clusters of 4096 bytes the file records of the first cluster are not told apart from record 0.
std::uint64_t record_inode(const log_entry& entry, const mft_place& place) {
    if (!record_has_inode(entry)) return 0;
    if (place.cluster_size != usual_cluster_size) return file_record_at(entry, place);
    const std::uint64_t vcn = entry.get(target_vcn);
    const std::uint64_t per_cluster = usual_cluster_size / stated_record_size(entry);
    return vcn != 0 ? file_record_in_cluster(entry.get(cluster_block_offset)) + per_cluster * vcn : 0;
}

}  // namespace kest
