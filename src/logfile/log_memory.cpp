#include "logfile/log_memory.h"

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
    m_made.clear();
    for (const std::uint64_t stated : {file_offset, std::uint64_t{record.size()}}) {
        const auto raw = std::bit_cast<std::array<std::uint8_t, sizeof stated>>(stated);
        m_made.insert(m_made.end(), raw.begin(), raw.end());
    }
    m_made.insert(m_made.end(), record.bytes().begin(), record.bytes().end());
    m_joined.earn(m_made.size());
    return log_entry::joined(*m_joined.keep(std::span(m_made)));
}

}  // namespace kest
