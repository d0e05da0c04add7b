#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "logfile/log_store.h"
#include "logfile/page.h"
#include "logfile/restart_page.h"

namespace kest {

inline constexpr std::uint64_t page_data = log_page_size - page_layout::records_begin;  // bytes of records in a page
inline constexpr std::uint64_t least_header = 48;  // bytes of a record that a page end never splits

// How the LSNs of a log state the offsets of its records: the low bits are a file offset in units of 8 bytes, those
// above count how often the log has wrapped.
struct lsn_layout {
    unsigned offset_bits = 0;
    std::uint64_t log_size = 0;  // bytes, whole pages: what lies after is not used

    // File offset that the LSN states.
    std::uint64_t offset(std::uint64_t lsn) const { return (lsn & ((std::uint64_t{1} << offset_bits) - 1)) * 8; }
    std::uint64_t round(std::uint64_t lsn) const { return lsn >> offset_bits; }
    std::uint64_t lsn(std::uint64_t round_number, std::uint64_t file_offset) const {
        return (round_number << offset_bits) | (file_offset / 8);
    }
};

// Nothing if the page does not say all of it, if it cannot be true, or for pages of another size than 4096 bytes.
std::optional<lsn_layout> lsn_layout_of(const restart_facts& facts);

// What the later of the two restart pages states: they are written in turn, and the one with the higher LSN counts.
// Without a restart page the size of the file shows it, where most records stand at the offsets that it gives them.
std::optional<lsn_layout> find_layout(const log_store& log);

// Record pages that repeat what belongs to another page: those of the two tail pages, and those of the pages that
// later systems keep after them for the same.
std::uint64_t count_copied_pages(const log_store& log, const lsn_layout& layout);

// Where the log lacks something: after the record of the first LSN neither the next offset nor, where its page ends
// with it, the next page holds the record of the next higher LSN.
struct lsn_gap {
    std::uint64_t before;  // the last LSN before the gap
    std::uint64_t after;   // the next one that the log holds
};
// `complete_log` has put the records in the order of their LSNs.
std::vector<lsn_gap> find_gaps(const log_store& log, const lsn_layout& layout);

}  // namespace kest
