#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "portable/byte_view.h"

namespace kest {

inline constexpr std::uint32_t log_page_size = 4096;  // bytes; page sizes that a restart page states are not consulted

using restart_page_image = std::array<std::uint8_t, log_page_size>;
using tail_name_image = std::array<std::uint8_t, 36>;  // one entry of a name table

// Pages 0 and 1 are restart pages, 2 and 3 tail pages. Logs of version 2 keep 32 pages in place of these two, and
// begin with their records after them; that goes on where such a log is taken back to version 1.
inline constexpr std::uint64_t first_tail = 2;
inline constexpr std::array<std::uint64_t, 2> first_record_pages = {4, 34};
inline constexpr std::uint64_t copies_end = first_record_pages[1];

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
inline constexpr uni::field<std::uint64_t> last_end_lsn{32};  // equal to `last_lsn`: nothing goes on after the page
inline constexpr std::uint32_t records_begin = 64;
// Among the words of the update sequence array, which is not asked for once sector ends are put back: where in the file
// the page was.
inline constexpr uni::field<std::uint64_t> file_offset{48};
}  // namespace page_layout

// The signature "RSTR" and nothing else.
[[nodiscard]] bool has_restart_signature(uni::byte_view page);

// A sound restart page, by its signature, the offset of its update sequence array and a nonzero update sequence.
[[nodiscard]] bool is_restart_page(uni::byte_view page);

// The signature "RCRD", and an update sequence array at a plausible offset and of a plausible size.
[[nodiscard]] bool is_record_page(uni::byte_view header);

// Says whether each of the eight sectors, as far as the page has them, ends in the update sequence number, the first
// word at `array_offset`. If not, the page was torn: part of it is older than the rest, or damaged.
[[nodiscard]] bool sector_ends_match(uni::byte_view page, std::uint32_t array_offset);

// The sectors of a page that do not end in it, a bit for each; a page that is cut short has none.
[[nodiscard]] std::uint8_t torn_sectors(uni::byte_view page, std::uint32_t array_offset);

// Whether one of them lies in some bytes of the page.
[[nodiscard]] bool is_torn(std::uint8_t torn_sectors, std::size_t begin, std::size_t end);

// Puts back the eight words at the sector ends of a page, from the array at `array_offset`, whose first word is the
// update sequence number. False if a sector end did not hold that number; the words are put back all the same.
bool apply_fixups(std::span<std::uint8_t> page, std::uint32_t array_offset);

// Has a record page state its file offset, after its sector ends were put back.
void set_file_offset(std::span<std::uint8_t> page, std::uint64_t offset);

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

// How many pages of a log are of which kind. Each page is of one kind: a restart page, a record page, a foreign one,
// or one that was never written.
struct page_tally {
    std::uint64_t file_size = 0;  // bytes
    std::uint64_t restart = 0;
    std::uint64_t record = 0;
    std::uint64_t torn = 0;              // record pages whose sector ends do not match
    std::uint64_t foreign = 0;           // neither kind, and not blank
    std::uint64_t blank = 0;             // of nothing but 0xFF or 0
    std::array<bool, 2> restart_torn{};  // of the restart page at file offset 0; of the first one elsewhere

    // Takes the whole pages of a stretch of the file, as it holds them. Its first byte is at `file_offset`.
    void count_pages(uni::byte_view stretch, std::uint64_t file_offset);

    // Whole pages of the file that were not counted. If the file was read to its end they are holes.
    std::uint64_t not_read() const;

private:
    void count(uni::byte_view page, std::uint64_t page_offset);

    bool m_second_restart_seen = false;
};

}  // namespace kest
