#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "format/number.h"
#include "mft/inode_record.h"
#include "portable/byte_view.h"

namespace kest {

// Bits of a reason mask that mean something to the program; all others are only words.
namespace usn_reasons {
inline constexpr std::uint32_t overwritten = 1U << 0;
inline constexpr std::uint32_t appended = 1U << 1;
inline constexpr std::uint32_t truncated = 1U << 2;
inline constexpr std::uint32_t stream_appended = 1U << 5;
inline constexpr std::uint32_t stream_truncated = 1U << 6;
inline constexpr std::uint32_t created = 1U << 8;
inline constexpr std::uint32_t deleted = 1U << 9;
inline constexpr std::uint32_t ea = 1U << 10;
inline constexpr std::uint32_t old_name = 1U << 12;
inline constexpr std::uint32_t new_name = 1U << 13;
inline constexpr std::uint32_t basic_info = 1U << 15;
inline constexpr std::uint32_t hard_link = 1U << 16;
inline constexpr std::uint32_t object_id = 1U << 19;
inline constexpr std::uint32_t reparse_point = 1U << 20;
inline constexpr std::uint32_t stream_change = 1U << 21;
inline constexpr std::uint32_t closed = 1U << 31;
}  // namespace usn_reasons

namespace usn_attributes {
inline constexpr std::uint32_t system = 1U << 2;
inline constexpr std::uint32_t directory = 1U << 4;
}  // namespace usn_attributes

// Where a change journal record (USN record) of one major version keeps its fields, in bytes from the record's start;
// 0 where the version has no such field. Versions 3 and 4 hold 128-bit references, of which the first eight bytes are
// read.
struct usn_layout {
    std::uint32_t floor;  // the record length must be above this
    uni::field<std::uint64_t> file;
    uni::field<std::uint64_t> parent;
    uni::field<std::uint64_t> usn;   // update sequence number
    uni::field<std::uint64_t> time;  // FILETIME
    uni::field<std::uint32_t> reason;
    uni::field<std::uint32_t> source_info;
    uni::field<std::uint32_t> security_id;
    uni::field<std::uint32_t> file_attributes;
    uni::field<std::uint16_t> name_length;  // bytes
    uni::field<std::uint16_t> name_offset;
    uni::field<std::uint16_t> name;  // Kept: its usual place; the offset that the record states is not used
    uni::field<std::uint32_t> remaining_extents;
};

// The length that the bytes state, whatever they are: all versions keep it in one place.
inline std::uint32_t stated_usn_length(uni::byte_view bytes) {
    return bytes.u32(0);
}

// A journal record, as far as its bytes go: they may end within it, or go on after it.
class usn_record {
public:
    usn_record(uni::byte_view bytes, const usn_layout& layout) : m_bytes(bytes), m_layout(&layout) {}

    // True if the version has the field and at least its first byte is there.
    template <class integer>
    bool reaches(uni::field<integer> usn_layout::*f) const {
        return has(f) && m_bytes.size() > (m_layout->*f).offset;
    }
    template <class integer>
    bool has(uni::field<integer> usn_layout::*f) const {
        return (m_layout->*f).offset != 0;
    }
    // 0 for what is not there.
    template <class integer>
    integer get(uni::field<integer> usn_layout::*f) const {
        return has(f) ? m_bytes.get(m_layout->*f) : integer{0};
    }
    // True if it reaches the last field that says something of the file.
    bool says_all() const { return has(&usn_layout::name) ? reaches(&usn_layout::name) : reaches(&usn_layout::reason); }
    inode_ref file() const { return inode_ref(get(&usn_layout::file)); }
    inode_ref parent() const { return inode_ref(get(&usn_layout::parent)); }

    uni::byte_view bytes() const { return m_bytes; }
    std::uint32_t length() const { return stated_usn_length(m_bytes); }

    // Which of the reasons the records of this file have given since it was last closed; `known` before this one.
    // Version 4 comes before the record that closes, and repeats its reasons.
    std::uint32_t reasons_after(std::uint32_t known) const {
        const std::uint32_t reasons = get(&usn_layout::reason);
        if (!has(&usn_layout::name)) return known | (reasons & ~usn_reasons::closed);
        return (reasons & usn_reasons::closed) != 0 ? 0 : reasons;
    }

    // UTF-16, what is there of the `length` bytes at the name's place.
    uni::byte_view name(std::size_t length) const {
        return has(&usn_layout::name) ? m_bytes.slice(m_layout->name.offset, length) : uni::byte_view{};
    }
    uni::byte_view name() const { return name(get(&usn_layout::name_length)); }
    std::uint32_t name_begin() const { return m_layout->name.offset; }  // 0: no name

private:
    uni::byte_view m_bytes;
    const usn_layout* m_layout;
};

// Nothing unless the bytes form a journal record: major version 2, 3 or 4, minor version 0, a stated length of at
// most 4096 and above the version's floor.
std::optional<usn_record> read_usn_record(uni::byte_view bytes);
inline bool is_usn_record(uni::byte_view bytes) {
    return read_usn_record(bytes).has_value();
}

constexpr std::size_t usn_granule = 8;  // bytes: records begin and end at multiples of it

// The same of a record that is whole within `bytes` and says of which file it is, with a name where its version has
// one.
std::optional<usn_record> sound_usn_record(uni::byte_view bytes);

// Takes what one journal record says of its file. `bytes` may end within the record: false then, with `record`
// filled as far as it got.
bool parse_usn_record(inode_record& record, uni::byte_view bytes);

// The word of each reason, by bit.
std::span<const flag_word> reason_words();

// The words of a reason mask, joined by "; ". With `with_close` the close bit has a word too, and a mask without
// a word is "unk".
void append_reason_text(std::string& out, std::uint32_t reason, bool with_close);
std::string reason_text(std::uint32_t reason, bool with_close);
// The words of file attribute bits, joined by "; "; "unk" if none.
void append_attribute_text(std::string& out, std::uint32_t attributes);
// The words of source information bits, joined by ", "; "-" if none.
void append_source_text(std::string& out, std::uint32_t source_info);

}  // namespace kest
