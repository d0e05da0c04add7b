#include "logfile/tail_names.h"

#include <algorithm>

namespace kest {

namespace {

// Layout of one name: a nonzero value, then UTF-16 text that begins with "$" and ends in a zero word or after
// sixteen characters. Offsets in bytes from the entry's start.
constexpr std::uint32_t name_begin = 4;
constexpr std::uint32_t name_limit = 16;  // characters
constexpr std::uint16_t dollar = 0x24;

constexpr std::size_t search_begin = page_layout::records_begin;
constexpr std::size_t search_end = search_begin + 17;
constexpr unsigned places_to_try = 4;
constexpr std::size_t place_step = 8;  // bytes

bool is_tail_name(uni::byte_view page, std::size_t at) {
    return page.u32(at) != 0 && page.u16(at + name_begin) == dollar;
}

tail_name_image image_of(uni::byte_view page, std::size_t at) {
    tail_name_image image{};  // cut at the page's end
    const auto bytes = page.slice(at, image.size()).bytes();
    std::copy(bytes.begin(), bytes.end(), image.begin());
    return image;
}

// Bytes of a name up to its zero word; one character short of the limit if there is none.
std::size_t name_length(uni::byte_view page, std::size_t entry) {
    for (std::uint32_t character = 0; character < name_limit; ++character) {
        if (page.u16(entry + name_begin + 2 * character) == 0) return std::size_t{2} * character;
    }
    return std::size_t{2} * (name_limit - 1);
}

// From `position` on, up to four places 8 bytes apart. Behind the page's end everything reads as 0.
std::size_t first_record_place(uni::byte_view page, std::size_t position, std::uint64_t last_lsn) {
    for (unsigned tried = 0; tried < places_to_try; ++tried, position += place_step) {
        std::array<std::uint8_t, record_layout::payload_begin> header{};
        const auto bytes = page.slice(position, header.size()).bytes();
        std::copy(bytes.begin(), bytes.end(), header.begin());
        if (record_plausible(std::span<const std::uint8_t>(header), last_lsn)) break;
    }
    return position;
}

}  // namespace

std::size_t keep_tail_names(log_store& store, uni::byte_view page, std::uint64_t page_offset, std::uint64_t last_lsn) {
    std::size_t entry = search_begin;
    while (entry <= search_end && !is_tail_name(page, entry))
        ++entry;
    if (entry > search_end) return first_record_place(page, search_begin, last_lsn);

    // Kept: a table that does not begin at the first place leaves the walk one byte out of step with it, so that
    // it usually ends behind one name. The names themselves have no reader; the place of the records counts.
    std::size_t position = entry == search_begin ? entry : entry + 1;
    auto& names = page_offset == first_tail_page ? store.tail_names_first : store.tail_names_second;
    for (; is_tail_name(page, entry); entry = position) {
        names.push_back(image_of(page, entry));
        position += name_length(page, entry) + name_begin + 2;
    }
    if (page.u32(position) == 0) position += 4;
    position = (position + 7) / 8 * 8;
    return first_record_place(page, position, last_lsn);
}

}  // namespace kest
