#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "portable/byte_view.h"

namespace kest {

inline constexpr std::uint32_t log_page_size = 4096;  // bytes; page sizes that a restart page states are not consulted

using restart_page_image = std::array<std::uint8_t, log_page_size>;
using tail_name_image = std::array<std::uint8_t, 36>;  // one entry of a name table

// Layout of a record page, whose signature stands where that of a restart page does. Offsets in bytes from the page's
// start.
namespace page_layout {
inline constexpr uni::field<std::uint32_t> signature{0};
inline constexpr std::uint32_t restart_signature = 0x52545352;  // "RSTR"
inline constexpr std::uint32_t record_signature = 0x44524352;   // "RCRD"
inline constexpr uni::field<std::uint16_t> usa_offset{4};       // 40 to 48
inline constexpr uni::field<std::uint16_t> usa_count{6};        // words, 3 to 12
inline constexpr uni::field<std::uint64_t> last_lsn{8};         // of the last record that begins in the page
inline constexpr uni::field<std::uint16_t> next_record_offset{24};
inline constexpr uni::field<std::uint64_t> last_end_lsn{32};  // equal to `last_lsn`: nothing goes on behind the page
inline constexpr std::uint32_t records_begin = 64;
}  // namespace page_layout

// The signature "RSTR" and nothing else.
[[nodiscard]] bool has_restart_signature(uni::byte_view page);

// A sound restart page, by its signature, the place of its update sequence array and a nonzero update sequence.
[[nodiscard]] bool is_restart_page(uni::byte_view page);

// The signature "RCRD", and an update sequence array of plausible place and size.
[[nodiscard]] bool is_record_page(uni::byte_view header);

// Says whether each of the eight sectors, as far as the page has them, ends in the update sequence number, the first
// word at `array_offset`. If not, the page was torn: part of it is older than the rest, or damaged.
[[nodiscard]] bool sector_ends_match(uni::byte_view page, std::uint32_t array_offset);

// Puts back the eight words at the sector ends of a page, from the array at `array_offset`, whose first word is the
// update sequence number. False if a sector end did not hold that number; the words are put back all the same.
bool apply_fixups(std::span<std::uint8_t> page, std::uint32_t array_offset);

inline constexpr std::uint64_t any_lsn = ~std::uint64_t{0};

// Says whether the bytes look like a log record, from as much of its header as `record` shows: near a page end
// that may be only the beginning, and a field that is not there is not judged.
//   record     from the record's first byte to the end of the page, or of the assembled record
//   lsn_limit  highest LSN the page may hold; `any_lsn` for an assembled record
// False is no error to report: the caller goes on searching.
[[nodiscard]] bool record_plausible(uni::byte_view record, std::uint64_t lsn_limit);

// Says whether the bytes look like the compensation of a bitmap operation, which states undo data that begin where its
// own data end. It is whole without them, though `record_plausible` refuses it.
[[nodiscard]] bool undo_lies_beyond(uni::byte_view record);

}  // namespace kest
