#include "logfile/log_memory.h"

#include <algorithm>
#include <array>
#include <bit>

namespace kest {

std::span<std::uint8_t> log_memory::room() {
    if (block_size - m_used < block_size / 2) {
        m_blocks.emplace_back(block_size);
        m_used = 0;
    }
    return m_blocks.back().bytes().subspan(m_used);
}

void log_memory::release_room() {
    if (!m_blocks.empty()) uni::release_pages(m_blocks.back().bytes().subspan(m_used));
}

log_entry log_memory::keep_joined(uni::byte_view record, std::uint64_t file_offset) {
    const std::span<std::uint8_t> kept = room_for_joined(log_entry::joined_prefix + record.size());
    const auto prefix = std::bit_cast<std::array<std::uint8_t, log_entry::joined_prefix>>(
        std::array<std::uint64_t, 2>{file_offset, record.size()});
    std::ranges::copy(record.bytes(), std::ranges::copy(prefix, kept.begin()).out);
    return log_entry::joined(kept);
}

std::span<std::uint8_t> log_memory::room_for_joined(std::size_t size) {
    if (size > m_joined_room.size()) {
        const std::size_t block = std::clamp(m_joined, std::size_t{1} << 16, block_size);
        m_joined_room = m_joined_blocks.emplace_back(std::max(size, block)).bytes();
    }
    m_joined += size;
    const std::span<std::uint8_t> room = m_joined_room.first(size);
    m_joined_room = m_joined_room.subspan(size);
    return room;
}

}  // namespace kest
