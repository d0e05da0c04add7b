#pragma once

#include <cstdint>

#include "portable/byte_view.h"

namespace kest {

inline constexpr std::uint32_t sector_size = 512;  // bytes that one word of an update sequence array guards

// Layouts of file records and of the attribute values that more than one reader knows. Offsets in bytes from the
// structure's first byte; integers are little-endian; sizes and lengths in bytes unless stated otherwise.

namespace file_record_layout {
inline constexpr uni::field<std::uint32_t> signature{0};
inline constexpr std::uint32_t file_signature = 0x454C4946;  // "FILE"
inline constexpr uni::field<std::uint16_t> usa_offset{4};    // update sequence array
inline constexpr uni::field<std::uint16_t> usa_count{6};     // its words, the update sequence number first
inline constexpr uni::field<std::uint64_t> lsn{8};
inline constexpr uni::field<std::uint16_t> sequence{16};
inline constexpr uni::field<std::uint16_t> hard_links{18};
inline constexpr uni::field<std::uint16_t> first_attribute{20};
inline constexpr uni::field<std::uint16_t> flags{22};
inline constexpr std::uint16_t in_use = 1;
inline constexpr std::uint16_t directory = 2;
inline constexpr std::uint16_t extended_record = 4;
inline constexpr std::uint16_t view_index = 8;
inline constexpr uni::field<std::uint32_t> record_room{28};  // bytes that the record has in the MFT
inline constexpr uni::field<std::uint64_t> base_record{32};  // reference; 0 on a base record
inline constexpr uni::field<std::uint16_t> next_attribute_id{40};
inline constexpr uni::field<std::uint32_t> own_number{44};
inline constexpr std::uint32_t usa_begin = 48;
inline constexpr std::uint32_t smallest_header = 42;  // of the oldest version
// An older record has its update sequence array, and then its attributes, where the number would be.
inline constexpr std::uint16_t first_attribute_after_number = 56;
}  // namespace file_record_layout

// An attribute record.
namespace attribute_layout {
inline constexpr uni::field<std::uint32_t> type{0};
inline constexpr uni::field<std::uint32_t> record_length{4};
inline constexpr uni::field<std::uint8_t> nonresident{8};  // 0 or 1
inline constexpr uni::field<std::uint8_t> name_length{9};  // UTF-16 units
inline constexpr uni::field<std::uint16_t> name_offset{10};
inline constexpr uni::field<std::uint16_t> flags{12};
inline constexpr uni::field<std::uint16_t> id{14};
// of a resident attribute
inline constexpr uni::field<std::uint32_t> value_length{16};
inline constexpr uni::field<std::uint16_t> value_offset{20};
inline constexpr uni::field<std::uint8_t> indexed_flags{22};
inline constexpr std::uint32_t resident_header_size = 24;
// of a non-resident one
inline constexpr uni::field<std::uint64_t> lowest_vcn{16};
inline constexpr uni::field<std::uint64_t> highest_vcn{24};
inline constexpr uni::field<std::uint16_t> mapping_pairs_offset{32};
inline constexpr uni::field<std::uint8_t> compression_unit{34};
inline constexpr uni::field<std::uint64_t> allocated_size{40};
inline constexpr uni::field<std::uint64_t> real_size{48};
inline constexpr uni::field<std::uint64_t> initialized_size{56};
inline constexpr uni::field<std::uint64_t> compressed_size{64};  // only with a compression unit
}  // namespace attribute_layout

// The sizes of a non-resident attribute by themselves, as an operation sets them: three, or four for a compressed or
// sparse attribute.
namespace new_sizes_layout {
inline constexpr std::uint32_t begin = attribute_layout::allocated_size.offset;
inline constexpr uni::field<std::uint64_t> real_size{attribute_layout::real_size.offset - begin};
inline constexpr uni::field<std::uint64_t> initialized_size{attribute_layout::initialized_size.offset - begin};
}  // namespace new_sizes_layout

namespace attribute_type {
inline constexpr std::uint32_t standard_information = 0x10;
inline constexpr std::uint32_t attribute_list = 0x20;
inline constexpr std::uint32_t file_name = 0x30;
inline constexpr std::uint32_t object_id = 0x40;
inline constexpr std::uint32_t security_descriptor = 0x50;
inline constexpr std::uint32_t volume_name = 0x60;
inline constexpr std::uint32_t volume_information = 0x70;
inline constexpr std::uint32_t data = 0x80;
inline constexpr std::uint32_t index_root = 0x90;
inline constexpr std::uint32_t index_allocation = 0xA0;
inline constexpr std::uint32_t reparse_point = 0xC0;
inline constexpr std::uint32_t extended_attributes = 0xE0;
inline constexpr std::uint32_t logged_utility_stream = 0x100;
inline constexpr std::uint32_t highest = 1024;  // that counts as one
inline constexpr std::uint32_t end_of_attributes = 0xFFFF'FFFF;
}  // namespace attribute_type

// A $STANDARD_INFORMATION value. One of 48 bytes ends before the owner.
namespace standard_information_layout {
inline constexpr uni::field<std::uint64_t> created{0};
inline constexpr uni::field<std::uint64_t> modified{8};
inline constexpr uni::field<std::uint64_t> mft_changed{16};
inline constexpr uni::field<std::uint64_t> accessed{24};
inline constexpr uni::field<std::uint64_t> times[] = {created, modified, mft_changed, accessed};
inline constexpr uni::field<std::uint32_t> flags{32};
inline constexpr uni::field<std::uint32_t> owner_id{48};
inline constexpr uni::field<std::uint32_t> security_id{52};
inline constexpr uni::field<std::uint64_t> quota_charged{56};
inline constexpr uni::field<std::uint64_t> usn{64};
inline constexpr std::uint32_t size = usn.end();
}  // namespace standard_information_layout

// A $FILE_NAME value. Its times stand in the order of those of $STANDARD_INFORMATION.
namespace file_name_layout {
inline constexpr uni::field<std::uint64_t> parent{0};
inline constexpr uni::field<std::uint64_t> created{8};
inline constexpr uni::field<std::uint64_t> modified{16};
inline constexpr uni::field<std::uint64_t> mft_changed{24};
inline constexpr uni::field<std::uint64_t> accessed{32};
inline constexpr uni::field<std::uint64_t> times[] = {created, modified, mft_changed, accessed};
inline constexpr uni::field<std::uint64_t> allocated_size{40};
inline constexpr uni::field<std::uint64_t> real_size{48};
inline constexpr uni::field<std::uint32_t> flags{56};
inline constexpr std::uint32_t directory = 0x1000'0000;
inline constexpr uni::field<std::uint32_t> reparse_value{60};
inline constexpr uni::field<std::uint8_t> name_length{64};  // UTF-16 units
inline constexpr uni::field<std::uint8_t> name_space{65};
inline constexpr std::uint8_t dos_name_space = 2;
inline constexpr std::uint32_t name = 66;
inline constexpr std::uint32_t smallest = name + 2;
inline constexpr std::uint32_t longest = name + 2 * 255;
}  // namespace file_name_layout

// A $REPARSE_POINT value. Offsets of names count from the path buffer's start.
namespace reparse_layout {
inline constexpr uni::field<std::uint32_t> tag{0};
inline constexpr uni::field<std::uint16_t> data_length{4};
inline constexpr uni::field<std::uint16_t> substitute_offset{8};
inline constexpr uni::field<std::uint16_t> substitute_length{10};
inline constexpr uni::field<std::uint16_t> print_offset{12};
inline constexpr uni::field<std::uint16_t> print_length{14};
inline constexpr std::uint32_t path_buffer = 16;
inline constexpr std::uint32_t link_path_buffer = 20;  // a symbolic link has flags in between
inline constexpr std::uint32_t symbolic_link = 0xA000000C;
}  // namespace reparse_layout

// An index entry.
namespace index_entry_layout {
inline constexpr uni::field<std::uint64_t> file_reference{0};
inline constexpr uni::field<std::uint16_t> entry_length{8};  // header included
inline constexpr uni::field<std::uint16_t> key_length{10};
inline constexpr uni::field<std::uint16_t> flags{12};
inline constexpr std::uint16_t end_entry = 2;
inline constexpr std::uint32_t key = 16;
}  // namespace index_entry_layout

// An entry of $ATTRIBUTE_LIST.
namespace list_entry_layout {
inline constexpr uni::field<std::uint32_t> type{0};
inline constexpr uni::field<std::uint16_t> entry_length{4};
inline constexpr uni::field<std::uint8_t> name_length{6};  // UTF-16 units
inline constexpr uni::field<std::uint8_t> name_offset{7};
inline constexpr uni::field<std::uint64_t> lowest_vcn{8};
inline constexpr uni::field<std::uint64_t> file_reference{16};
inline constexpr uni::field<std::uint16_t> id{24};
inline constexpr std::uint32_t name = 26;
}  // namespace list_entry_layout

}  // namespace kest
