#include "logfile/page.h"

#include <algorithm>

#include "logfile/operation.h"
#include "logfile/record_layout.h"

namespace kest {

namespace {

constexpr std::uint32_t sector_size = 512;  // bytes that one update sequence word guards
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

bool sector_ends_match(uni::byte_view page, std::uint32_t array_offset) {
    const std::uint16_t update_sequence = page.u16(array_offset);
    for (std::size_t end = sector_size; end <= fixed_bytes(page); end += sector_size) {
        if (page.u16(end - 2) != update_sequence) return false;
    }
    return page.has(0, sector_size);
}

bool apply_fixups(std::span<std::uint8_t> page, std::uint32_t array_offset) {
    const uni::byte_view view = page;
    const bool sound = sector_ends_match(view, array_offset);
    std::size_t word_offset = array_offset;
    for (std::size_t end = sector_size; end <= fixed_bytes(view); end += sector_size) {
        const std::uint16_t word = view.u16(word_offset += 2);
        page[end - 2] = static_cast<std::uint8_t>(word & 0xFF);
        page[end - 1] = static_cast<std::uint8_t>(word >> 8);
    }
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

}  // namespace kest
