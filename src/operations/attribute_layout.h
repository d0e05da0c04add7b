#pragma once

#include <cstdint>

#include "portable/byte_view.h"

namespace kest {

// Layout of an attribute record. Offsets count from the record's first byte; integers are little-endian.
namespace attribute_layout {
inline constexpr uni::field<std::uint32_t> type{0};
inline constexpr uni::field<std::uint32_t> record_length{4};  // bytes
inline constexpr uni::field<std::uint8_t> nonresident{8};     // 0 or 1
inline constexpr uni::field<std::uint8_t> name_length{9};     // UTF-16 units
inline constexpr uni::field<std::uint16_t> name_offset{10};
inline constexpr uni::field<std::uint16_t> flags{12};
inline constexpr uni::field<std::uint16_t> id{14};
// of a resident attribute
inline constexpr uni::field<std::uint32_t> value_length{16};  // bytes
inline constexpr uni::field<std::uint16_t> value_offset{20};
inline constexpr uni::field<std::uint8_t> indexed_flags{22};
inline constexpr std::uint32_t resident_header_size = 24;
// of a non-resident one; sizes in bytes
inline constexpr uni::field<std::uint64_t> lowest_vcn{16};
inline constexpr uni::field<std::uint64_t> highest_vcn{24};
inline constexpr uni::field<std::uint16_t> mapping_pairs_offset{32};
inline constexpr uni::field<std::uint8_t> compression_unit{34};
inline constexpr uni::field<std::uint64_t> allocated_size{40};
inline constexpr uni::field<std::uint64_t> real_size{48};
inline constexpr uni::field<std::uint64_t> initialized_size{56};
inline constexpr uni::field<std::uint64_t> compressed_size{64};  // only with a compression unit
}  // namespace attribute_layout

namespace attribute_type {
inline constexpr std::uint32_t standard_information = 0x10;
inline constexpr std::uint32_t attribute_list = 0x20;
inline constexpr std::uint32_t file_name = 0x30;
inline constexpr std::uint32_t object_id = 0x40;
inline constexpr std::uint32_t volume_information = 0x70;
inline constexpr std::uint32_t data = 0x80;
inline constexpr std::uint32_t index_root = 0x90;
inline constexpr std::uint32_t index_allocation = 0xA0;
inline constexpr std::uint32_t reparse_point = 0xC0;
}  // namespace attribute_type

}  // namespace kest
