#include "logfile/log_memory.h"

#include <algorithm>
#include <array>
#include <bit>

namespace kest {

std::span<std::uint8_t> log_memory::room() {
    if (m_rooms.empty()) return m_blocks.emplace_back(block_size).bytes();
    const std::span<std::uint8_t> room = m_rooms.back();
    m_rooms.pop_back();
    return room;
}

void log_memory::keep(std::span<std::uint8_t> room, std::size_t bytes) {
    const std::span<std::uint8_t> rest = room.subspan(bytes);
    if (rest.size() >= block_size / 2) m_rooms.push_back(rest);
}

void log_memory::release_rooms() {
    for (const std::span<std::uint8_t> room : m_rooms)
        uni::release_pages(room);
    m_rooms.clear();
    uni::release_pages(m_joined_room);
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
