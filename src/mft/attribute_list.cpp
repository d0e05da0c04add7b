#include "mft/attribute_list.h"

#include <algorithm>

#include "mft/inode_ref.h"
#include "mft/record_layout.h"
#include "mft/run_list.h"

namespace kest {

namespace {

using namespace list_entry_layout;

constexpr std::uint32_t cluster_size = 4096;   // bytes; the volume's own is not known
constexpr std::size_t longest_list = 262'144;  // bytes; the format allows no more
constexpr std::uint32_t least_entry = file_reference.end();
constexpr std::uint32_t least_first_entry = 32;
constexpr std::uint32_t highest_type = 256;

bool begins_as_list(uni::byte_view list) {
    const std::uint32_t first_type = list.get(type);
    const std::uint32_t length = list.get(entry_length);
    return first_type % 16 == 0 && first_type <= highest_type && length >= least_first_entry && length <= list.size() &&
           std::uint32_t{list.get(name_length)} + list.get(name_offset) <= length;
}

// Appends the run's clusters up to the first that cannot be read. False if a bound has kept it from reading some.
// Kept: clusters are counted from the start of the MFT's own file.
bool append_run(std::vector<std::uint8_t>& list, const run_record& run, mft_source& source) {
    for (std::uint64_t cluster = 0; cluster < run.clusters; ++cluster) {
        if (list.size() >= longest_list || !source.reads.spend(1)) return false;
        const std::size_t begin = list.size();
        list.resize(std::min(begin + cluster_size, longest_list));
        const uni::read_result arrived =
            source.file.read_at(std::span(list).subspan(begin), (run.lcn + cluster) * cluster_size);
        list.resize(begin + arrived.bytes);
        if (arrived.failed) source.read_failed = true;
        if (arrived.bytes == 0) break;
    }
    return true;
}

}  // namespace

std::optional<std::uint64_t> next_listed_record(uni::byte_view& list) {
    if (list.empty() || list.get(type) == attribute_type::end_of_attributes) return std::nullopt;
    const std::uint64_t number = inode_ref(list.get(file_reference)).number();
    const std::uint32_t length = list.get(entry_length);
    list = length < least_entry ? uni::byte_view{} : list.from(length);
    return number;
}

std::vector<std::uint8_t> read_nonresident_list(uni::byte_view attribute, mft_source& source) {
    std::vector<std::uint8_t> list;
    std::vector<run_record> runs;
    if (attribute.get(attribute_layout::initialized_size) == 0 || !decode_runs(attribute, runs)) return list;
    bool whole = true;
    for (const run_record& run : runs) {
        whole = append_run(list, run, source) && whole;
    }
    if (!whole && (list.empty() || begins_as_list(std::span<const std::uint8_t>(list)))) {
        source.omitted.attribute_lists = true;
    }
    if (!begins_as_list(std::span<const std::uint8_t>(list))) list.clear();
    return list;
}

}  // namespace kest
