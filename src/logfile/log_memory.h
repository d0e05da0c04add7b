#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "logfile/log_entry.h"
#include "portable/byte_view.h"
#include "portable/large_pages.h"

namespace kest {

// The bytes that the entries of a log show: its pages as they were read, and records that were put together over page
// ends.
class log_memory {
public:
    // Where to read the next pages of the log to: at least half a block. Pages lie at multiples of their size.
    std::span<std::uint8_t> room();
    // So many bytes at the begin of such a room stay; the others may be read over.
    void keep(std::span<std::uint8_t> room, std::size_t bytes);
    // Gives back what was not kept.
    void release_rooms();

    // A copy of a record, of at least 88 bytes.
    log_entry keep_joined(uni::byte_view record, std::uint64_t file_offset);

private:
    static constexpr std::size_t block_size = std::size_t{4} << 20;  // bytes
    static_assert(block_size % uni::large_page == 0, "large pages begin at multiples of the size of a log page");

    std::vector<uni::byte_block> m_blocks;
    std::vector<std::span<std::uint8_t>> m_rooms;  // of these, not in use
    std::span<std::uint8_t> room_for_joined(std::size_t size);

    std::vector<uni::byte_block> m_joined_blocks;  // each as large as all before it
    std::span<std::uint8_t> m_joined_room;
    std::size_t m_joined = 0;  // bytes
};

}  // namespace kest
