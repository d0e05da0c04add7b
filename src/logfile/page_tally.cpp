#include "logfile/page_tally.h"

#include <algorithm>

#include "logfile/page.h"

namespace kest {

namespace {

constexpr std::uint8_t erased = 0xFF;  // what a log is filled with when it is made

bool is_blank(uni::byte_view page) {
    const std::uint8_t first = page.u8(0);
    return (first == 0 || first == erased) && std::ranges::count(page.bytes(), first) == std::ssize(page.bytes());
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
