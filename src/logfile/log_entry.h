#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <new>
#include <span>

#include "logfile/page.h"
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

// One parsed log record: its first 88 bytes, then its payload. The bytes belong to the `log_store` that the entry
// stands in. A log has one for each 90 of its bytes or so, so an entry has 8 bytes: where the record begins, and its
// operations, which walks choose by. All else is read from there.
class log_entry {
public:
    log_entry() : log_entry(no_record.data() + joined_prefix, true) {}
    // A record of a page at a multiple of its size, which states where in the file it was: the record, of at least 88
    // bytes, lies wholly in it.
    static log_entry in_page(uni::byte_view record) { return {record.bytes().data(), false}; }
    // A record that was put together, after 16 bytes: where its first piece began in the file, and its size.
    static log_entry joined(uni::byte_view kept) { return {kept.from(joined_prefix).bytes().data(), true}; }
    static constexpr std::size_t joined_prefix = 16;  // bytes
    static constexpr std::uint16_t beyond = 0x7F;     // in place of an operation that has no room in an entry

    uni::byte_view bytes() const {
        const std::uint64_t size = std::uint64_t{record_layout::payload_begin} + payload_length(header());
        const std::uint64_t room = m_spanned != 0 ? prefix().u64(8) : log_page_size - in_page();
        return std::span(data(), static_cast<std::size_t>(std::min(size, room)));
    }
    std::uint64_t file_offset() const {
        if (m_spanned != 0) return prefix().u64(0);
        return uni::byte_view(std::span(data() - in_page(), log_page_size)).get(page_layout::file_offset) + in_page();
    }
    bool spanned() const { return m_spanned != 0; }  // it crossed a page end

    std::uint64_t this_lsn() const { return get(record_layout::this_lsn); }  // log sequence number
    std::uint64_t client_previous_lsn() const { return get(record_layout::client_previous_lsn); }  // 0: head of a chain
    bool of_client() const { return get(record_layout::record_type) == record_types::client; }  // a transaction's step

    template <class integer>
    [[gnu::always_inline]] integer get(uni::field<integer> f) const {
        return f.end() <= record_layout::payload_begin ? header().get(f) : bytes().get(f);
    }

    std::uint16_t redo_op() const { return operation(m_redo_op, record_layout::redo_op); }
    std::uint16_t undo_op() const { return operation(m_undo_op, record_layout::undo_op); }

    // The client data after its 40-byte header; empty if there is none.
    uni::byte_view payload() const { return bytes().from(record_layout::payload_begin); }

    const std::uint8_t* data() const { return std::bit_cast<const std::uint8_t*>(std::uintptr_t{m_address}); }

private:
    static constexpr unsigned address_bits = 49;  // more than systems give out unasked
    static constexpr std::uint64_t highest_address = (std::uint64_t{1} << address_bits) - 1;
    static constexpr std::array<std::uint8_t, joined_prefix + record_layout::payload_begin> no_record{};

    log_entry(const std::uint8_t* record, bool spanned)
        : m_address(address_of(record) & highest_address),
          m_spanned(spanned ? 1 : 0),
          m_redo_op(packed(header().get(record_layout::redo_op)) & beyond),
          m_undo_op(packed(header().get(record_layout::undo_op)) & beyond) {}

    static std::uint64_t address_of(const std::uint8_t* record) {
        static_assert(sizeof record == sizeof(std::uint64_t));
        const std::uint64_t address = std::bit_cast<std::uintptr_t>(record);
        if (address > highest_address) throw std::bad_alloc();
        return address;
    }
    static std::uint16_t packed(std::uint16_t operation) { return std::min(operation, beyond); }

    std::uint16_t operation(std::uint64_t held, uni::field<std::uint16_t> f) const {
        return held != beyond ? static_cast<std::uint16_t>(held) : get(f);
    }

    std::size_t in_page() const { return m_address % log_page_size; }
    uni::byte_view header() const { return std::span(data(), record_layout::payload_begin); }
    uni::byte_view prefix() const { return std::span(data() - joined_prefix, joined_prefix); }

    std::uint64_t m_address : address_bits;
    std::uint64_t m_spanned : 1;
    // Of the address's type, as some compilers pack no others with it.
    std::uint64_t m_redo_op : 7;
    std::uint64_t m_undo_op : 7;
};

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
