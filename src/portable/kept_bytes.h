#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "portable/large_pages.h"
#include "portable/byte_view.h"

namespace uni {

// Bytes that outlive the buffer they were read from, within a budget that grows with the evidence.
class kept_bytes {
public:
    void earn(std::uint64_t bytes) { m_budget += bytes; }
    // False, and noted, if the budget does not suffice.
    bool spend(std::uint64_t bytes) {
        if (bytes > m_budget) {
            m_exceeded = true;
            return false;
        }
        m_budget -= bytes;
        return true;
    }
    // Nothing if the budget does not suffice.
    std::optional<byte_view> keep(byte_view bytes) {
        if (!spend(bytes.size())) return std::nullopt;
        if (bytes.size() > m_room.size()) m_room = m_blocks.emplace_back(std::max(bytes.size(), block_size)).bytes();
        std::ranges::copy(bytes.bytes(), m_room.begin());
        const byte_view kept = m_room.first(bytes.size());
        m_room = m_room.subspan(bytes.size());
        return kept;
    }
    bool exceeded() const { return m_exceeded; }

private:
    static constexpr std::size_t block_size = std::size_t{1} << 16;

    std::vector<byte_block> m_blocks;
    std::span<std::uint8_t> m_room;
    std::uint64_t m_budget = std::uint64_t{1} << 20;  // to start with
    bool m_exceeded = false;
};

}  // namespace uni
