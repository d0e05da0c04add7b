#include "logfile/page.h"

#include <algorithm>
#include <array>
#include <bit>

#include "logfile/log_entry.h"
#include "logfile/operation.h"
#include "mft/record_view.h"

namespace kest {

namespace {

constexpr std::uint32_t sectors_fixed = 8;  // whatever the page says of its array's size

// Offsets in a restart page.
constexpr uni::field<std::uint16_t> restart_usa_offset{4};
constexpr uni::field<std::uint16_t> restart_update_sequence{30};

constexpr std::uint16_t highest_flags = 10;
constexpr std::uint32_t highest_data_length = 0xFF000;  // bytes
constexpr std::uint64_t widest_lsn_step = 0x1000'0000;  // between a record and its predecessor

// Bytes up to which whole sectors of the page are guarded.
std::size_t fixed_bytes(uni::byte_view page) {
    return std::min<std::size_t>(page.size(), sectors_fixed * sector_size);
}

// Kept: the bounds are tested by one subtraction in 16 bits, so that a value below the lower bound fails too.
constexpr bool within(std::uint16_t value, std::uint16_t lowest, std::uint16_t span) {
    return static_cast<std::uint16_t>(value - lowest) <= span;
}

// An operation that is 0 needs no bytes.
bool data_fits(std::uint16_t operation, std::uint16_t offset, std::uint16_t length, std::uint32_t client_data_length) {
    return operation == operation_code::noop || std::uint32_t{offset} + length <= client_data_length;
}

bool links_plausibly(std::uint64_t lsn, std::uint64_t previous, std::uint64_t lsn_limit) {
    if (previous == 0 || previous == any_lsn) return true;  // no link: then the limit is not asked either
    return lsn >= previous && lsn <= lsn_limit && lsn <= previous + widest_lsn_step;
}

template <class integer>
bool shows(uni::byte_view record, uni::field<integer> f) {
    return record.size() >= f.end();
}

// All but where the redo and undo data lie.
bool header_plausible(uni::byte_view record, std::uint64_t lsn_limit) {
    using namespace record_layout;
    if (!shows(record, this_lsn) || record.get(this_lsn) == 0) return false;
    if (shows(record, flags) && record.get(flags) > highest_flags) return false;
    if (!shows(record, client_previous_lsn)) return true;
    if (shows(record, record_type) && record.get(record_type) - 1 > 1) return false;
    if (!links_plausibly(record.get(this_lsn), record.get(client_previous_lsn), lsn_limit)) return false;
    if (record.get(client_data_length) > highest_data_length) return false;  // reads 0 where it does not show
    if (!shows(record, undo_op)) return true;
    return record.get(redo_op) <= highest_operation && record.get(undo_op) <= highest_operation;
}

}  // namespace

bool has_restart_signature(uni::byte_view page) {
    return page.get(page_layout::signature) == page_layout::restart_signature;
}

bool is_restart_page(uni::byte_view page) {
    return has_restart_signature(page) && within(page.get(restart_usa_offset), 30, 2) &&
           page.get(restart_update_sequence) != 0;
}

bool is_record_page(uni::byte_view header) {
    return header.get(page_layout::signature) == page_layout::record_signature &&
           within(header.get(page_layout::usa_offset), 40, 8) && within(header.get(page_layout::usa_count), 3, 9);
}

std::uint8_t torn_sectors(uni::byte_view page, std::uint32_t array_offset) {
    const std::uint16_t update_sequence = page.u16(array_offset);
    std::uint32_t torn = 0;
    for (std::size_t at = 0; at + sector_size <= fixed_bytes(page); at += sector_size)
        torn |= std::uint32_t{page.u16(at + sector_size - 2) != update_sequence} << at / sector_size;
    return static_cast<std::uint8_t>(torn);
}

bool is_torn(std::uint8_t torn_sectors, std::size_t begin, std::size_t end) {
    for (std::size_t sector = begin / sector_size; torn_sectors != 0 && sector * sector_size < end; ++sector) {
        if (torn_sectors >> sector & 1) return true;
    }
    return false;
}

bool sector_ends_match(uni::byte_view page, std::uint32_t array_offset) {
    return torn_sectors(page, array_offset) == 0 && page.has(0, sector_size);
}

bool apply_fixups(std::span<std::uint8_t> page, std::uint32_t array_offset) {
    const bool sound = sector_ends_match(page, array_offset);
    restore_sector_ends(page, array_offset, sectors_fixed);
    return sound;
}

bool record_plausible(uni::byte_view record, std::uint64_t lsn_limit) {
    using namespace record_layout;
    if (!header_plausible(record, lsn_limit)) return false;
    const std::uint32_t data_length = record.get(client_data_length);
    return !shows(record, undo_length) || data_length <= client_header_size ||
           (data_fits(record.get(redo_op), record.get(redo_offset), record.get(redo_length), data_length) &&
            data_fits(record.get(undo_op), record.get(undo_offset), record.get(undo_length), data_length));
}

void set_file_offset(std::span<std::uint8_t> page, std::uint64_t offset) {
    const auto raw = std::bit_cast<std::array<std::uint8_t, sizeof offset>>(offset);
    std::ranges::copy(raw, page.subspan(page_layout::file_offset.offset, raw.size()).begin());
}

bool undo_lies_beyond(uni::byte_view record) {
    using namespace record_layout;
    const std::uint32_t data_length = record.get(client_data_length);
    return record.size() >= payload_begin && header_plausible(record, any_lsn) &&
           record.get(undo_op) == operation_code::compensation_log_record &&
           (record.get(redo_op) == operation_code::set_bits_in_nonresident_bit_map ||
            record.get(redo_op) == operation_code::clear_bits_in_nonresident_bit_map) &&
           data_fits(record.get(redo_op), record.get(redo_offset), record.get(redo_length), data_length) &&
           record.get(undo_offset) == data_length;
}

namespace {

constexpr std::uint8_t erased = 0xFF;  // what a log is filled with when it is made

bool is_blank(uni::byte_view page) {
    const std::uint8_t first = page.u8(0);
    // Each byte equals the one before it, which one comparison of memory shows.
    return (first == 0 || first == erased) &&
           std::ranges::equal(page.from(1).bytes(), page.slice(0, page.size() - 1).bytes());
}

}  // namespace

void page_tally::count_pages(uni::byte_view stretch, std::uint64_t file_offset) {
    for (std::size_t at = 0; stretch.has(at, log_page_size); at += log_page_size)
        count(stretch.slice(at, log_page_size), file_offset + at);
}

void page_tally::count(uni::byte_view page, std::uint64_t page_offset) {
    if (has_restart_signature(page)) {
        ++restart;
        const bool first = page_offset == 0;
        if (!first && m_second_restart_seen) return;
        m_second_restart_seen = m_second_restart_seen || !first;
        restart_torn[first ? 0 : 1] = !sector_ends_match(page, page.get(page_layout::usa_offset));
    } else if (is_record_page(page)) {
        ++record;
        if (!sector_ends_match(page, page.get(page_layout::usa_offset))) ++torn;
    } else if (is_blank(page)) {
        ++blank;
    } else {
        ++foreign;
    }
}

std::uint64_t page_tally::not_read() const {
    const std::uint64_t pages = file_size / log_page_size;
    return pages - std::min(pages, restart + record + foreign + blank);
}

}  // namespace kest
