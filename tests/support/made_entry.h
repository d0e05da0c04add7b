#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <deque>

#include "logfile/log_memory.h"

namespace kest {

// An entry over a copy of a record, which stays: at the end of a page of its own, if it fits there.
inline log_entry make_log_entry(uni::byte_view record) {
    static log_memory memory;
    struct alignas(log_page_size) page {
        std::array<std::uint8_t, log_page_size> bytes{};
    };
    static std::deque<page> pages;
    if (record.size() > log_page_size - page_layout::records_begin) return memory.keep_joined(record, 0);
    const std::span<std::uint8_t> bytes = pages.emplace_back().bytes;
    const std::size_t at = bytes.size() - record.size();
    std::ranges::copy(record.bytes(), bytes.subspan(at).begin());
    return log_entry::in_page(uni::byte_view(bytes).from(at));
}

}  // namespace kest
