#include "logfile/open_attributes.h"

#include "logfile/operation.h"

namespace kest {

namespace {

// The table begins with a header; its entries have 40 bytes, or 44 on older systems.
constexpr uni::field<std::uint16_t> entry_size{0};
constexpr std::uint32_t table_begin = 24;
constexpr uni::field<std::uint32_t> allocated_or_next_free{0};
constexpr std::uint32_t allocated = 0xFFFF'FFFF;
constexpr std::size_t smallest_entry = 40;
constexpr uni::field<std::uint64_t> file_reference{16};
constexpr uni::field<std::uint64_t> old_file_reference{8};

}  // namespace

void open_attributes::take_entry(std::uint32_t place, uni::byte_view entry) {
    if (entry.size() < smallest_entry || entry.get(allocated_or_next_free) != allocated) return;
    m_files[place] = inode_ref(entry.get(entry.size() == smallest_entry ? file_reference : old_file_reference));
}

void open_attributes::learn(const log_entry& entry) {
    const bool is_table = entry.redo_op() == operation_code::open_attribute_table_dump;
    if (!is_table && entry.redo_op() != operation_code::open_nonresident_attribute) return;
    if (entry.get(record_layout::record_type) != record_types::client) return;
    const uni::byte_view data = exact_redo(entry);
    if (!is_table) return take_entry(entry.get(record_layout::target_attribute), data);
    const std::uint16_t size = data.get(entry_size);
    if (size < smallest_entry) return;
    m_files = {};
    for (std::uint32_t place = table_begin; data.has(place, size); place += size)
        take_entry(place, data.slice(place, size));
}

std::optional<inode_ref> open_attributes::file_of(const log_entry& entry) const {
    const inode_ref* const found = m_files.find(entry.get(record_layout::target_attribute));
    return found != nullptr ? std::optional(*found) : std::nullopt;
}

}  // namespace kest
