#pragma once

#include <cstdint>

#include "portable/byte_view.h"

namespace kest {

// Layouts of the MFT. Offsets in bytes from the structure's first byte; integers are little-endian.
namespace mft_layout {
// File record header.
inline constexpr uni::field<std::uint32_t> signature{0};
inline constexpr std::uint32_t file_signature = 0x454C4946;  // "FILE"
inline constexpr uni::field<std::uint16_t> usa_offset{4};    // update sequence array
inline constexpr uni::field<std::uint16_t> usa_count{6};     // its words, the update sequence number first
inline constexpr uni::field<std::uint64_t> lsn{8};
inline constexpr uni::field<std::uint16_t> sequence{16};
inline constexpr uni::field<std::uint16_t> first_attribute{20};
inline constexpr uni::field<std::uint16_t> flags{22};
inline constexpr uni::field<std::uint64_t> base_record{32};  // reference; 0 on a base record
inline constexpr uni::field<std::uint32_t> record_number{44};
inline constexpr std::uint32_t usa_begin = 48;

// Attribute header.
inline constexpr uni::field<std::uint32_t> attribute_type{0};
inline constexpr uni::field<std::uint32_t> attribute_length{4};  // whole
inline constexpr uni::field<std::uint8_t> attribute_nonresident{8};
inline constexpr uni::field<std::uint32_t> attribute_value_length{16};
inline constexpr uni::field<std::uint16_t> attribute_value_offset{20};
inline constexpr uni::field<std::uint64_t> attribute_first_vcn{16};
inline constexpr uni::field<std::uint16_t> attribute_runs{32};  // offset of the run list
inline constexpr uni::field<std::uint64_t> attribute_initialized_size{56};
inline constexpr std::uint32_t end_of_attributes = 0xFFFF'FFFF;

// $STANDARD_INFORMATION value.
inline constexpr uni::field<std::uint64_t> si_created{0};
inline constexpr uni::field<std::uint64_t> si_modified{8};
inline constexpr uni::field<std::uint64_t> si_mft_changed{16};
inline constexpr uni::field<std::uint64_t> si_accessed{24};
inline constexpr uni::field<std::uint32_t> si_file_attributes{32};
inline constexpr uni::field<std::uint64_t> si_usn{64};

// $FILE_NAME value.
inline constexpr uni::field<std::uint64_t> fn_parent{0};
inline constexpr uni::field<std::uint64_t> fn_created{8};
inline constexpr uni::field<std::uint64_t> fn_modified{16};
inline constexpr uni::field<std::uint64_t> fn_mft_changed{24};
inline constexpr uni::field<std::uint64_t> fn_accessed{32};
inline constexpr uni::field<std::uint64_t> fn_allocated_size{40};
inline constexpr uni::field<std::uint64_t> fn_real_size{48};
inline constexpr uni::field<std::uint8_t> fn_name_length{64};  // UTF-16 units
inline constexpr uni::field<std::uint8_t> fn_namespace{65};
inline constexpr std::uint32_t fn_name = 66;
inline constexpr std::uint8_t dos_namespace = 2;

// $ATTRIBUTE_LIST entry.
inline constexpr uni::field<std::uint32_t> entry_type{0};
inline constexpr uni::field<std::uint16_t> entry_length{4};
inline constexpr uni::field<std::uint8_t> entry_name_length{6};
inline constexpr uni::field<std::uint8_t> entry_name_offset{7};
inline constexpr uni::field<std::uint64_t> entry_reference{16};
static_assert(entry_reference.end() == 24);
}  // namespace mft_layout

}  // namespace kest
