#include "images/partition_table.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>

#include "portable/byte_view.h"

namespace kest {

namespace {

constexpr std::uint64_t usual_sector_size = 512;  // bytes
constexpr std::uint64_t sector_sizes[] = {usual_sector_size, 4096};

// The first sector of a disk with an MBR, and that of each link of the chain of logical partitions. Sectors count from
// the disk's start in the first, in a link from the link itself; the next link from the chain's first.
namespace mbr_layout {
constexpr std::uint32_t first_entry = 446;
constexpr std::uint32_t entry_size = 16;
constexpr std::uint32_t entries = 4;
constexpr uni::field<std::uint8_t> type{4};  // of an entry
constexpr uni::field<std::uint32_t> first_sector{8};
constexpr uni::field<std::uint32_t> sectors{12};
constexpr uni::field<std::uint16_t> signature{510};
constexpr std::uint16_t boot_signature = 0xAA55;
constexpr std::uint8_t extended_types[] = {0x05, 0x0F, 0x85};
}  // namespace mbr_layout

namespace gpt_layout {
constexpr uni::field<std::uint64_t> signature{0};
constexpr std::uint64_t header_signature = 0x5452415020494645;  // "EFI PART"
constexpr uni::field<std::uint64_t> entries_sector{72};
constexpr uni::field<std::uint32_t> entry_count{80};
constexpr uni::field<std::uint32_t> entry_size{84};
constexpr std::uint32_t least_entry_size = 128;
constexpr uni::field<std::uint64_t> type_low{0};  // of an entry: a GUID, all 0 in one that is not used
constexpr uni::field<std::uint64_t> type_high{8};
constexpr uni::field<std::uint64_t> first_sector{32};
constexpr uni::field<std::uint64_t> last_sector{40};
}  // namespace gpt_layout

constexpr std::uint32_t first_logical = 5;
constexpr std::uint32_t most_logical = 128;  // so a chain that runs in a circle ends
constexpr std::uint32_t most_gpt_entries = 1024;
constexpr std::uint32_t largest_gpt_entry = 4096;  // bytes

using sector_bytes = std::array<std::uint8_t, usual_sector_size>;

std::optional<sector_bytes> read_sector(const uni::byte_source& disk, std::uint64_t offset) {
    sector_bytes sector{};
    if (disk.read_at(sector, offset).bytes != sector.size()) return std::nullopt;
    return sector;
}

uni::byte_view view_of(const sector_bytes& sector) {
    return std::span<const std::uint8_t>(sector);
}

// Nothing if its end cannot be stated in bytes.
std::optional<disk_partition> partition_of(std::uint32_t number, std::uint64_t first, std::uint64_t sectors,
                                           std::uint64_t sector_size) {
    constexpr auto most = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (sectors == 0 || first > most / sector_size || sectors > most / sector_size - first) return std::nullopt;
    return disk_partition{number, first * sector_size, sectors * sector_size};
}

void add_gpt_entries(std::vector<disk_partition>& found, const uni::byte_source& disk, uni::byte_view header,
                     std::uint64_t sector_size) {
    using namespace gpt_layout;
    const std::uint32_t size = header.get(entry_size);
    if (size < least_entry_size || size > largest_gpt_entry) return;
    const auto table = partition_of(0, header.get(entries_sector), 1, sector_size);
    if (!table) return;
    const std::uint32_t count = std::min(header.get(entry_count), most_gpt_entries);
    std::vector<std::uint8_t> bytes(std::size_t{count} * size);
    bytes.resize(disk.read_at(bytes, table->offset).bytes);
    const uni::byte_view entries = std::span<const std::uint8_t>(bytes);
    for (std::uint32_t index = 0; index < count; ++index) {
        const uni::byte_view entry = entries.slice(std::uint64_t{index} * size, size);
        if (entry.get(type_low) == 0 && entry.get(type_high) == 0) continue;
        const std::uint64_t first = entry.get(first_sector), last = entry.get(last_sector);
        if (last < first) continue;
        const auto partition = partition_of(index + 1, first, last - first + 1, sector_size);
        if (partition) found.push_back(*partition);
    }
}

// The second sector has the header, the last one its copy.
std::vector<disk_partition> read_gpt(const uni::byte_source& disk) {
    std::vector<disk_partition> found;
    for (const bool copy : {false, true}) {
        for (const std::uint64_t sector_size : sector_sizes) {
            if (disk.size() < 2 * sector_size) continue;
            const auto header = read_sector(disk, copy ? disk.size() - sector_size : sector_size);
            if (!header || view_of(*header).get(gpt_layout::signature) != gpt_layout::header_signature) continue;
            add_gpt_entries(found, disk, view_of(*header), sector_size);
            if (!found.empty()) return found;
        }
    }
    return found;
}

struct mbr_entry {
    std::uint8_t type;
    std::uint64_t first_sector;
    std::uint64_t sectors;

    bool is_extended() const { return std::ranges::count(mbr_layout::extended_types, type) != 0; }
    bool is_used() const { return type != 0 && sectors != 0; }
};

mbr_entry entry_of(const sector_bytes& sector, std::uint32_t index) {
    using namespace mbr_layout;
    const uni::byte_view entry = view_of(sector).slice(first_entry + index * entry_size, entry_size);
    return {entry.get(type), entry.get(first_sector), entry.get(sectors)};
}

std::optional<sector_bytes> read_table(const uni::byte_source& disk, std::uint64_t sector) {
    auto table = read_sector(disk, sector * usual_sector_size);
    if (table && view_of(*table).get(mbr_layout::signature) != mbr_layout::boot_signature) table.reset();
    return table;
}

void add_partition(std::vector<disk_partition>& found, std::uint32_t number, std::uint64_t base,
                   const mbr_entry& entry) {
    const auto partition = partition_of(number, base + entry.first_sector, entry.sectors, usual_sector_size);
    if (partition) found.push_back(*partition);
}

void add_logical(std::vector<disk_partition>& found, const uni::byte_source& disk, std::uint64_t chain) {
    std::uint64_t link = chain;
    for (std::uint32_t count = 0; count < most_logical; ++count) {
        const auto table = read_table(disk, link);
        if (!table) return;
        const mbr_entry logical = entry_of(*table, 0), next = entry_of(*table, 1);
        if (logical.is_used()) add_partition(found, first_logical + count, link, logical);
        if (!next.is_used() || !next.is_extended()) return;
        link = chain + next.first_sector;
    }
}

std::vector<disk_partition> read_mbr(const uni::byte_source& disk) {
    std::vector<disk_partition> found;
    const auto table = read_table(disk, 0);
    if (!table) return found;
    std::optional<std::uint64_t> chain;
    for (std::uint32_t index = 0; index < mbr_layout::entries; ++index) {
        const mbr_entry entry = entry_of(*table, index);
        if (!entry.is_used()) continue;
        if (!entry.is_extended()) {
            add_partition(found, index + 1, 0, entry);
        } else if (!chain) {
            chain = entry.first_sector;
        }
    }
    if (chain) add_logical(found, disk, *chain);
    return found;
}

}  // namespace

std::vector<disk_partition> read_partition_table(const uni::byte_source& disk) {
    std::vector<disk_partition> found = read_gpt(disk);
    return found.empty() ? read_mbr(disk) : found;
}

}  // namespace kest
