#pragma once

#include <cstdint>

#include "logfile/log_store.h"
#include "portable/byte_view.h"

namespace kest {

// Says whether a page at this file offset may hold a table of names ahead of its first record: the two tail pages.
constexpr bool is_tail_page(std::uint64_t page_offset) {
    return page_offset >= 8129 && page_offset <= 16319;
}

// Keeps the name table of a tail page, if it has one, and returns where its first record is to be looked for,
// in bytes from the page's start. That may lie behind the page's end.
std::size_t keep_tail_names(log_store& store, uni::byte_view page, std::uint64_t page_offset, std::uint64_t last_lsn);

}  // namespace kest
