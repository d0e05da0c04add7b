#include "logfile/mft_place.h"

#include <algorithm>
#include <array>
#include <bit>

#include "logfile/operation.h"
#include "mft/record_layout.h"

namespace kest {

namespace {

using namespace record_layout;

constexpr std::uint32_t block_size = 512;  // of the block offsets and block sizes of a log record
constexpr std::uint32_t smallest_cluster = 512;
constexpr std::uint32_t largest_cluster = 2U << 20;
constexpr std::uint64_t most_file_records = std::uint64_t{1} << 32;
constexpr std::uint64_t highest_vcn = most_file_records * 4096 / smallest_cluster;

// How often each power of two was told.
using votes = std::array<std::uint32_t, 32>;

std::optional<std::uint32_t> most_voted(const votes& count) {
    const auto most = std::ranges::max_element(count);
    if (*most == 0) return std::nullopt;
    return 1U << (most - count.begin());
}

bool is_cluster_size(std::uint64_t size) {
    return size >= smallest_cluster && size <= largest_cluster && std::has_single_bit(size);
}

// Logs of older systems state no block size anywhere.
std::uint32_t record_size_of(const log_entry& entry, std::uint32_t otherwise) {
    const std::uint32_t blocks = entry.get(target_block_size);
    return blocks == 2 || blocks == 8 ? blocks * block_size : otherwise;
}

std::uint64_t block_place(const log_entry& entry) {
    return std::uint64_t{entry.get(cluster_block_offset)} * block_size;
}

// The file record that the record puts into the MFT, or that was there before; empty if it is about none.
uni::byte_view told_file_record(const log_entry& entry) {
    using namespace operation_code;
    if (entry.get(record_type) != record_types::client) return {};
    const bool put = entry.redo_op == initialize_file_record_segment;
    if (!put && entry.undo_op != initialize_file_record_segment) return {};
    const uni::byte_view bytes = put ? exact_redo(entry) : exact_undo(entry);
    return bytes.get(file_record_layout::signature) == file_record_layout::file_signature ? bytes : uni::byte_view{};
}

// Records of older systems hold no number: their attributes begin ahead of its end.
bool holds_number(uni::byte_view record) {
    return record.get(file_record_layout::first_attribute) > file_record_layout::own_number.end();
}

}  // namespace

std::optional<std::uint32_t> told_cluster_size(const log_store& log) {
    votes count{};
    for (const log_entry& entry : log.entries) {
        const std::uint64_t vcn = entry.get(target_vcn);
        const uni::byte_view record = told_file_record(entry);
        if (record.empty() || vcn == 0 || !holds_number(record)) continue;
        const std::uint64_t place =
            record.get(file_record_layout::own_number) * std::uint64_t{record_size_of(entry, mft_place{}.record_size)};
        if (place <= block_place(entry)) continue;
        const std::uint64_t ahead = place - block_place(entry);
        if (ahead % vcn == 0 && is_cluster_size(ahead / vcn))
            ++count[static_cast<unsigned>(std::countr_zero(ahead / vcn))];
    }
    return most_voted(count);
}

std::uint64_t file_record_at(const log_entry& entry, const mft_place& place) {
    const std::uint64_t vcn = entry.get(target_vcn);
    if (vcn > highest_vcn) return 0;
    const std::uint64_t number =
        (vcn * place.cluster_size + block_place(entry)) / record_size_of(entry, place.record_size);
    return number < most_file_records ? number : 0;
}

}  // namespace kest
