#pragma once

#include <array>
#include <cstdint>

#include "portable/byte_view.h"

namespace kest {

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
