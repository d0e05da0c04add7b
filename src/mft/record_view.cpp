#include "mft/record_view.h"

#include <algorithm>

#include "mft/record_layout.h"
#include "mft/run_reader.h"

namespace kest {

void restore_sector_ends(std::span<std::uint8_t> bytes, std::size_t array_offset, std::uint32_t sectors) {
    const uni::byte_view view = bytes;
    for (std::uint32_t sector = 1; sector <= sectors && view.has(0, std::uint64_t{sector_size} * sector); ++sector) {
        const std::uint16_t word = view.u16(array_offset + 2 * sector);
        bytes[sector_size * sector - 2] = static_cast<std::uint8_t>(word & 0xFF);
        bytes[sector_size * sector - 1] = static_cast<std::uint8_t>(word >> 8);
    }
}

std::optional<index_entry_view> index_entry_view::read(uni::byte_view bytes) {
    using namespace index_entry_layout;
    const std::uint32_t key_size = bytes.get(key_length);
    if (!bytes.has(key, key_size) || bytes.get(entry_length) < key + key_size) return std::nullopt;
    if ((bytes.get(flags) & end_entry) != 0) return std::nullopt;
    const auto name = file_name_view::read(bytes.slice(key, key_size));
    if (!name || file_name_layout::name + name->name().size() != key_size) return std::nullopt;
    return index_entry_view{inode_ref(bytes.get(file_reference)), *name};
}

std::optional<attribute_view> attribute_view::read(uni::byte_view bytes) {
    using namespace attribute_layout;
    const std::uint32_t size = bytes.get(record_length);
    if (size < resident_header_size || size > bytes.size()) return std::nullopt;
    if (bytes.get(attribute_layout::type) - 1U >= attribute_type::highest) return std::nullopt;  // 0 wraps round
    const attribute_view attribute(bytes.slice(0, size));
    switch (bytes.get(nonresident)) {
        case 0:
            if (!attribute.m_bytes.has(bytes.get(value_offset), bytes.get(value_length))) return std::nullopt;
            return attribute;
        case 1:
            if (size < initialized_size.end()) return std::nullopt;
            return attribute;
        default:
            return std::nullopt;
    }
}

uni::byte_view attribute_view::name() const {
    using namespace attribute_layout;
    const std::uint32_t offset = m_bytes.get(name_offset);
    const std::uint32_t size = 2U * m_bytes.get(name_length);
    return m_bytes.has(offset, size) ? m_bytes.slice(offset, size) : uni::byte_view{};
}

uni::byte_view attribute_view::value() const {
    using namespace attribute_layout;
    return resident() ? m_bytes.slice(m_bytes.get(value_offset), m_bytes.get(value_length)) : uni::byte_view{};
}

std::uint64_t attribute_view::real_size() const {
    using namespace attribute_layout;
    return resident() ? m_bytes.get(value_length) : m_bytes.get(attribute_layout::real_size);
}

uni::byte_view file_record_view::standard_information() const {
    uni::byte_view found;
    for_each_attribute([&found](std::uint32_t, const attribute_view& attribute) {
        if (attribute.type() != attribute_type::standard_information || !found.empty()) return;
        if (attribute.value().size() >= standard_information_layout::flags.end()) found = attribute.value();
    });
    return found;
}

bool decode_runs(uni::byte_view attribute, std::vector<run_record>& runs) {
    using namespace attribute_layout;
    const std::uint32_t list_offset = attribute.get(mapping_pairs_offset);
    if (attribute.empty() || attribute.size() < list_offset) return false;
    uni::byte_view list = attribute.from(list_offset);
    for (std::uint64_t lcn = 0; list.u8(0) != 0;) {
        const std::size_t length_width = list.u8(0) & 15;
        const std::size_t step_width = list.u8(0) >> 4;
        const std::size_t size = length_width + step_width + 1;
        if (size > list.size()) break;
        lcn += mapping_number(list, 1 + length_width, step_width, true);
        runs.push_back({lcn, static_cast<std::uint32_t>(mapping_number(list, 1, length_width, false))});
        list = list.from(size);
    }
    return true;
}

}  // namespace kest
