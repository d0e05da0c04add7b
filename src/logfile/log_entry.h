#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "portable/byte_view.h"

namespace kest {

// Layout of a log record. Offsets count from the record's first byte; integers are little-endian.
namespace record_layout {
inline constexpr uni::field<std::uint64_t> this_lsn{0};
inline constexpr uni::field<std::uint64_t> client_previous_lsn{8};  // 0: head of a chain
inline constexpr uni::field<std::uint64_t> client_undo_next_lsn{
    16};  // of a compensation: what is left to undo ends there
inline constexpr uni::field<std::uint32_t> client_data_length{24};  // bytes after the first 48
inline constexpr uni::field<std::uint32_t> record_type{32};         // record_types
inline constexpr uni::field<std::uint16_t> flags{40};
inline constexpr uni::field<std::uint16_t> redo_op{48};  // the client header begins here
inline constexpr uni::field<std::uint16_t> undo_op{50};
inline constexpr uni::field<std::uint16_t> redo_offset{52};  // bytes, from the client header's start
inline constexpr uni::field<std::uint16_t> redo_length{54};  // bytes
inline constexpr uni::field<std::uint16_t> undo_offset{56};
inline constexpr uni::field<std::uint16_t> undo_length{58};
inline constexpr uni::field<std::uint16_t> target_attribute{60};
inline constexpr uni::field<std::uint16_t> lcns_to_follow{62};
inline constexpr uni::field<std::uint16_t> record_offset{64};         // bytes, in the target
inline constexpr uni::field<std::uint16_t> attribute_offset{66};      // bytes, in the target
inline constexpr uni::field<std::uint16_t> cluster_block_offset{68};  // 512-byte sectors
inline constexpr uni::field<std::uint16_t> target_block_size{70};     // 512-byte sectors
inline constexpr uni::field<std::uint64_t> target_vcn{72};            // clusters
inline constexpr uni::field<std::uint64_t> first_lcn{80};             // clusters
inline constexpr std::uint32_t client_begin = 48;
inline constexpr std::uint32_t client_header_size = 40;
inline constexpr std::uint32_t payload_begin = client_begin + client_header_size;
static_assert(redo_op.offset == client_begin && first_lcn.end() == payload_begin);
}  // namespace record_layout

namespace record_types {
inline constexpr std::uint32_t client = 1;   // a step of a transaction
inline constexpr std::uint32_t restart = 2;  // a client's restart area: what looks like operations is none
}  // namespace record_types

// Bytes after the first 88 that a record states, and bytes in all.
inline std::uint32_t payload_length(uni::byte_view record) {
    const std::uint32_t data_length = record.get(record_layout::client_data_length);
    return data_length > record_layout::client_header_size ? data_length - record_layout::client_header_size : 0;
}
inline std::uint32_t total_length(uni::byte_view record) {
    return record.get(record_layout::client_data_length) + record_layout::client_begin;
}

// One parsed log record: its first 88 bytes, then its payload. A view: the bytes belong to the `log_store`, and what
// they say is read from them.
class log_entry {
public:
    log_entry() = default;
    // `bytes` are at least 88, and may go on after the record; the file offset is where the record's first piece began,
    // in bytes.
    log_entry(uni::byte_view bytes, std::uint64_t file_offset, bool spanned)
        : log_entry(bytes.get(record_layout::redo_op), bytes.get(record_layout::undo_op), bytes, file_offset) {
        m_place |= std::uint64_t{spanned};
    }
    // The same where its operations are known: nothing of the bytes is read.
    log_entry(std::uint16_t redo, std::uint16_t undo, uni::byte_view bytes, std::uint64_t file_offset)
        : redo_op(redo),
          undo_op(undo),
          m_room(static_cast<std::uint32_t>(bytes.size())),
          m_data(bytes.bytes().data()),
          m_place(file_offset << 1) {}

    uni::byte_view bytes() const {
        return uni::byte_view(std::span(m_data, m_room))
            .slice(0, std::uint64_t{record_layout::payload_begin} + payload_length(header()));
    }
    std::uint64_t file_offset() const { return m_place >> 1; }
    bool spanned() const { return (m_place & 1) != 0; }  // it crossed a page end

    std::uint64_t this_lsn() const { return get(record_layout::this_lsn); }  // log sequence number
    std::uint64_t client_previous_lsn() const { return get(record_layout::client_previous_lsn); }  // 0: head of a chain
    bool of_client() const { return get(record_layout::record_type) == record_types::client; }  // a transaction's step

    template <class integer>
    integer get(uni::field<integer> f) const {
        return f.end() <= record_layout::payload_begin ? header().get(f) : bytes().get(f);
    }

    // The client data after its 40-byte header; empty if there is none.
    uni::byte_view payload() const { return bytes().from(record_layout::payload_begin); }

    std::uint16_t redo_op = 0;
    std::uint16_t undo_op = 0;

private:
    uni::byte_view header() const {
        return std::span(m_data, std::min<std::size_t>(m_room, record_layout::payload_begin));
    }

    std::uint32_t m_room = 0;  // bytes from the record's begin on
    const std::uint8_t* m_data = nullptr;
    std::uint64_t m_place = 0;
};

inline log_entry make_log_entry(uni::byte_view bytes, std::uint64_t file_offset, bool spanned) {
    return {bytes, file_offset, spanned};
}

// Where a record's redo or undo bytes lie within its payload. All zero: it has none.
struct data_window {
    std::uint32_t begin = 0;   // bytes from the payload's start
    std::uint32_t length = 0;  // as the record states it
    std::uint32_t extent = 0;  // bytes to the end of the window; not bounded by the payload
};

// The redo bytes, widened to the start of the undo bytes where those lie after them. None for operation
// 0, for an offset within the client header, for no length, for an empty payload.
data_window redo_data(const log_entry& entry);

// The undo bytes, to the payload's end. Likewise none.
data_window undo_data(const log_entry& entry);

// The redo or undo bytes that the record states and no more, as far as its payload goes; empty where it has none.
uni::byte_view exact_redo(const log_entry& entry);
uni::byte_view exact_undo(const log_entry& entry);

// Says whether the record's target is a file record: a block of 1024 or 4096 bytes, and no index buffer operation.
bool record_has_inode(const log_entry& entry);

}  // namespace kest
