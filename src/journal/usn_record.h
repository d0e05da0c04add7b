#pragma once

#include <cstdint>
#include <string>

#include "mft/inode_record.h"
#include "portable/byte_view.h"

namespace kest {

// Where a change journal record (USN record) of one major version keeps its fields. Offsets in bytes from the
// record's start, 0 where the version has no such field. Versions 3 and 4 hold 128-bit references, of which the
// first eight bytes are read.
struct usn_layout {
    std::uint32_t floor;            // the record length must be above this
    std::uint32_t parent;           // 8 bytes: reference of the parent directory
    std::uint32_t usn;              // 8 bytes: update sequence number
    std::uint32_t time;             // 8 bytes: FILETIME
    std::uint32_t reason;           // 4 bytes
    std::uint32_t source_info;      // 4 bytes
    std::uint32_t security_id;      // 4 bytes
    std::uint32_t file_attributes;  // 4 bytes
    std::uint32_t name_length;      // 2 bytes: length of the name in bytes
    std::uint32_t name_offset;      // 2 bytes
    std::uint32_t name;             // UTF-16
};

// The fields that all versions keep in one place.
namespace usn_common {
inline constexpr uni::field<std::uint32_t> record_length{0};
inline constexpr uni::field<std::uint16_t> major_version{4};
inline constexpr uni::field<std::uint16_t> minor_version{6};
inline constexpr uni::field<std::uint64_t> file_reference{8};
}  // namespace usn_common

// Null unless the bytes form a journal record: major version 2, 3 or 4, minor version 0, a stated length of at
// most 4096 and above the version's floor.
const usn_layout* usn_record_layout(uni::byte_view bytes);
inline bool is_usn_record(uni::byte_view bytes) {
    return usn_record_layout(bytes) != nullptr;
}

// Takes what one journal record says of its file. `bytes` may end within the record: false then, with `record`
// filled as far as it got.
bool parse_usn_record(inode_record& record, uni::byte_view bytes);

// The words of a reason mask, joined by "; ". With `with_close` the close bit has a word too, and a mask without
// a word is "unk".
void append_reason_text(std::string& out, std::uint32_t reason, bool with_close);
std::string reason_text(std::uint32_t reason, bool with_close);
// The words of file attribute bits, joined by "; "; "unk" if none.
std::string attribute_text(std::uint32_t attributes);
// The words of source information bits, joined by ", "; "-" if none.
std::string source_text(std::uint32_t source_info);

}  // namespace kest
