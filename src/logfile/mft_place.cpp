#include "logfile/mft_place.h"

#include <algorithm>
#include <array>
#include <bit>

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

// How often each power of two was told.
using votes = std::array<std::uint32_t, 32>;

std::optional<std::uint32_t> most_voted(const votes& count) {
    const auto most = std::ranges::max_element(count);
    if (*most == 0) return std::nullopt;
    return 1U << (most - count.begin());
}

// Calls `visit(entry, record)` for each file record in the log that is put into the MFT or was there before.
template <class visitor>
void for_each_image(const log_store& log, visitor&& visit) {
    using namespace operation_code;
    for (const log_entry& entry : log.entries) {
        if (entry.redo_op != initialize_file_record_segment && entry.undo_op != initialize_file_record_segment)
            continue;
        if (entry.get(record_type) != record_types::client) continue;
        const bool put = entry.redo_op == initialize_file_record_segment;
        const uni::byte_view bytes = put ? exact_redo(entry) : exact_undo(entry);
        const file_record_view record(bytes);
        if (record.has_header() && bytes.get(file_record_layout::signature) == file_record_layout::file_signature) {
            visit(entry, record);
        }
    }
}

// Logs of older systems state no block size anywhere.
std::uint32_t stated_record_size(const log_entry& entry) {
    const std::uint32_t blocks = entry.get(target_block_size);
    return blocks == 2 || blocks == 8 ? blocks * block_size : 0;
}

std::uint64_t block_place(const log_entry& entry) {
    return std::uint64_t{entry.get(cluster_block_offset)} * block_size;
}

// Kept: only whole file records of 1024 bytes are told apart; any other place in the cluster counts as its first.
constexpr std::uint64_t file_record_in_cluster(std::uint16_t sectors) {
    return sectors == 2 || sectors == 4 || sectors == 6 ? sectors / 2U : 0U;
}

}  // namespace

bool is_cluster_size(std::uint64_t size) {
    return size >= smallest_cluster && size <= largest_cluster && std::has_single_bit(size);
}

std::optional<std::uint32_t> told_cluster_size(const log_store& log) {
    votes count{};
    const std::uint32_t usual = told_record_size(log);
    for_each_image(log, [&](const log_entry& entry, const file_record_view& record) {
        const std::optional<std::uint64_t> number = record.own_number();
        const std::uint64_t vcn = entry.get(target_vcn);
        const std::uint32_t stated = stated_record_size(entry);
        if (!number || vcn == 0) return;
        const std::uint64_t place = *number * (stated != 0 ? stated : usual);
        if (place <= block_place(entry)) return;
        const std::uint64_t ahead = place - block_place(entry);
        if (ahead % vcn == 0 && is_cluster_size(ahead / vcn))
            ++count[static_cast<unsigned>(std::countr_zero(ahead / vcn))];
    });
    return most_voted(count);
}

std::uint32_t told_record_size(const log_store& log) {
    votes count{};
    for_each_image(log, [&count](const log_entry&, const file_record_view& record) {
        const std::uint32_t size = record.record_room();
        if (is_cluster_size(size)) ++count[static_cast<unsigned>(std::countr_zero(size))];
    });
    return most_voted(count).value_or(mft_place{}.record_size);
}

std::uint64_t file_record_at(const log_entry& entry, const mft_place& place) {
    const std::uint64_t vcn = entry.get(target_vcn);
    if (vcn > highest_vcn) return 0;
    const std::uint32_t stated = stated_record_size(entry);
    const std::uint64_t number =
        (vcn * place.cluster_size + block_place(entry)) / (stated != 0 ? stated : place.record_size);
    return number < most_file_records ? number : 0;
}

// Kept: with clusters of 4096 bytes the file records of the first cluster are not told apart from record 0.
std::uint64_t record_inode(const log_entry& entry, std::uint32_t cluster_size) {
    if (!record_has_inode(entry)) return 0;
    if (cluster_size != usual_cluster_size) return file_record_at(entry, {.cluster_size = cluster_size});
    const std::uint64_t vcn = entry.get(target_vcn);
    const std::uint64_t per_cluster = usual_cluster_size / stated_record_size(entry);
    return vcn != 0 ? file_record_in_cluster(entry.get(cluster_block_offset)) + per_cluster * vcn : 0;
}

}  // namespace kest
