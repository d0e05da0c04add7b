#include "logfile/lsn_layout.h"

#include <algorithm>
#include <bit>

namespace kest {

namespace {

// Pages of a log from a file offset on, and the number of the round.
struct log_position {
    std::uint64_t round = 0;
    std::uint64_t page = 0;  // file offset
    std::uint64_t at = 0;    // bytes, in the page
};

// After its last page the log goes on at its first record page, in the next round.
void wrap(log_position& position, std::uint64_t log_size, std::uint64_t first_page) {
    if (position.page < log_size) return;
    const std::uint64_t beyond = position.page - log_size;
    const std::uint64_t length = log_size - first_page;
    position.round += 1 + beyond / length;
    position.page = first_page + beyond % length;
}

// Where a record of `size` bytes ends that begins at `position`: at the next multiple of 8.
log_position end_of(log_position position, std::uint64_t size) {
    const std::uint64_t room = log_page_size - position.at;
    if (size <= room) {
        position.at += size;
    } else {
        const std::uint64_t further = size - room;
        const std::uint64_t pages = (further + page_data - 1) / page_data;
        position.page += pages * log_page_size;
        position.at = page_layout::records_begin + further - (pages - 1) * page_data;
    }
    position.at = (position.at + 7) / 8 * 8;
    return position;
}

class gap_finder {
public:
    gap_finder(const log_store& log, const lsn_layout& layout) : m_log(log), m_layout(layout) {
        for (const log_page& page : log.record_pages) {
            if (page.has_torn_header()) continue;
            m_page_ends.push_back(page.bytes.get(page_layout::last_lsn));
            m_page_ends.push_back(page.bytes.get(page_layout::last_end_lsn));
        }
        std::ranges::sort(m_page_ends);
    }

    std::vector<lsn_gap> find() const {
        std::vector<lsn_gap> gaps;
        const log_entry* last = nullptr;  // of several with one LSN the first
        for (std::size_t at = 0; at < m_log.entries.size(); ++at) {
            const log_entry& entry = m_log.entries[at];
            prefetch_record(m_log, at);
            if (last != nullptr && entry.this_lsn() <= last->this_lsn()) continue;
            if (last != nullptr && !follows(*last, entry.this_lsn()))
                gaps.push_back({last->this_lsn(), entry.this_lsn()});
            last = &entry;
        }
        return gaps;
    }

private:
    bool follows(const log_entry& entry, std::uint64_t next) const {
        return std::ranges::any_of(first_record_pages,
                                   [&](std::uint64_t page) { return follows(entry, next, page * log_page_size); });
    }

    bool follows(const log_entry& entry, std::uint64_t next, std::uint64_t first_page) const {
        if (m_layout.log_size <= first_page) return false;
        const std::uint64_t offset = m_layout.offset(entry.this_lsn());
        const std::uint64_t at = offset % log_page_size;
        const log_position end =
            end_of({m_layout.round(entry.this_lsn()), offset - at, at}, total_length(entry.bytes()));
        const bool room = log_page_size - end.at >= least_header;
        if (room && next == lsn_at(end, first_page)) return true;
        // A page need not be filled: what is flushed may end it.
        const bool page_ends = !room || std::ranges::binary_search(m_page_ends, entry.this_lsn());
        return page_ends &&
               next == lsn_at({end.round, end.page + log_page_size, page_layout::records_begin}, first_page);
    }

    std::uint64_t lsn_at(log_position position, std::uint64_t first_page) const {
        wrap(position, m_layout.log_size, first_page);
        return m_layout.lsn(position.round, position.page + position.at);
    }

    const log_store& m_log;
    const lsn_layout m_layout;
    std::vector<std::uint64_t> m_page_ends;  // LSNs that pages name as their last
};

constexpr unsigned fewest_offset_bits = 9;  // a page
constexpr unsigned most_offset_bits = 60;

// What systems take for a log of that size, if almost all records are where it would have them, those in the first
// pages aside, where copies of others stand. In a file that lost its beginning few are. In one that lost its end none
// is lost with one bit more, as if it had never wrapped: it is not taken for a ring.
std::optional<lsn_layout> layout_by_size(const log_store& log) {
    const std::uint64_t size = log.file_size - log.file_size % log_page_size;
    const auto bits = static_cast<unsigned>(std::bit_width(size / 8));
    if (bits < fewest_offset_bits || bits > most_offset_bits) return std::nullopt;
    lsn_layout layout{.offset_bits = bits, .log_size = size};
    const lsn_layout larger{.offset_bits = bits + 1, .log_size = size};
    std::uint64_t asked = 0;
    std::uint64_t at_home = 0;
    std::uint64_t at_home_in_larger = 0;
    for (const log_entry& entry : log.entries) {
        if (entry.file_offset() < copies_end * log_page_size) continue;
        ++asked;
        if (layout.offset(entry.this_lsn()) == entry.file_offset()) ++at_home;
        if (larger.offset(entry.this_lsn()) == entry.file_offset()) ++at_home_in_larger;
    }
    if (at_home == 0 || 8 * at_home < 7 * asked) return std::nullopt;
    if (at_home_in_larger == at_home) layout.log_size = (std::uint64_t{1} << bits) * 8;
    return layout;
}

}  // namespace

std::optional<lsn_layout> lsn_layout_of(const restart_facts& facts) {
    constexpr unsigned lsn_bits = 64;
    if (!facts.sequence_bits || !facts.log_size || facts.log_page_size != log_page_size) return std::nullopt;
    const unsigned offset_bits = lsn_bits - std::min<std::uint32_t>(*facts.sequence_bits, lsn_bits);
    if (offset_bits < fewest_offset_bits || offset_bits > most_offset_bits) return std::nullopt;
    const std::uint64_t size = *facts.log_size - *facts.log_size % log_page_size;
    if (size / 8 > std::uint64_t{1} << offset_bits) return std::nullopt;
    return lsn_layout{.offset_bits = offset_bits, .log_size = size};
}

std::optional<lsn_layout> find_layout(const log_store& log) {
    std::optional<restart_facts> later;
    for (const restart_page_image& image : log.restart_pages) {
        const auto facts = read_restart_page(std::span<const std::uint8_t>(image));
        if (facts && (!later || facts->current_lsn > later->current_lsn)) later = facts;
    }
    return later ? lsn_layout_of(*later) : layout_by_size(log);
}

std::uint64_t count_copied_pages(const log_store& log, const lsn_layout& layout) {
    std::uint64_t copies = 0;
    std::uint64_t lsn_at_end = 0;  // of the log's last page
    if (!log.record_pages.empty() && !log.record_pages.back().has_torn_header() &&
        log.record_pages.back().file_offset + log_page_size == layout.log_size) {
        lsn_at_end = log.record_pages.back().bytes.get(page_layout::last_lsn);
    }
    for (const log_page& page : log.record_pages) {
        const std::uint64_t number = page.file_offset / log_page_size;
        if (number >= copies_end) break;
        if (number < first_tail || page.has_torn_header()) continue;
        // In its own page the LSN is of a record that begins in the page or before it, and goes on there.
        const std::uint64_t lsn = page.bytes.get(page_layout::last_lsn);
        const bool own = number >= first_record_pages[0] && (layout.offset(lsn) < page.file_offset + log_page_size ||
                                                             (lsn_at_end != 0 && lsn == lsn_at_end));
        if (!own) ++copies;
    }
    return copies;
}

std::vector<lsn_gap> find_gaps(const log_store& log, const lsn_layout& layout) {
    return gap_finder(log, layout).find();
}

}  // namespace kest
