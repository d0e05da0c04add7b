#pragma once

#include <cstdint>

#include "logfile/log_store.h"
#include "portable/byte_view.h"

namespace kest {

// The two pages that may hold a table of names ahead of their first record, by their file offsets: those behind the
// restart pages.
inline constexpr std::uint64_t first_tail_page = std::uint64_t{2} * log_page_size;
inline constexpr std::uint64_t second_tail_page = std::uint64_t{3} * log_page_size;
constexpr bool is_tail_page(std::uint64_t page_offset) {
    return page_offset == first_tail_page || page_offset == second_tail_page;
}

// Keeps the name table of a tail page, if it has one, and returns where its first record is to be looked for,
// in bytes from the page's start. That may lie behind the page's end.
std::size_t keep_tail_names(log_store& store, uni::byte_view page, std::uint64_t page_offset, std::uint64_t last_lsn);

}  // namespace kest
