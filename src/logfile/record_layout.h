#pragma once

#include <cstdint>

#include "portable/byte_view.h"

namespace kest {

// Layout of a log record. Offsets count from the record's first byte; integers are little-endian.
namespace record_layout {
inline constexpr uni::field<std::uint64_t> this_lsn{0};
inline constexpr uni::field<std::uint64_t> client_previous_lsn{8};  // 0: head of a chain
inline constexpr uni::field<std::uint64_t> client_undo_next_lsn{
    16};  // of a compensation: what is left to undo ends there
inline constexpr uni::field<std::uint32_t> client_data_length{24};  // bytes behind the first 48
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

}  // namespace kest
