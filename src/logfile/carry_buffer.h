#pragma once

#include <cstdint>
#include <vector>

#include "portable/byte_view.h"

namespace kest {

// The pieces of the record that crosses the page end at hand. Empty: no record is pending.
class carry_buffer {
public:
    void begin(std::uint64_t file_offset) {
        m_bytes.clear();
        m_file_offset = file_offset;
    }
    void append(uni::byte_view piece) {
        const auto bytes = piece.bytes();
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    }
    void drop() { m_bytes.clear(); }  // keeps the capacity

    bool pending() const { return !m_bytes.empty(); }
    std::size_t size() const { return m_bytes.size(); }
    uni::byte_view bytes() const { return std::span<const std::uint8_t>(m_bytes); }
    std::uint64_t file_offset() const { return m_file_offset; }

private:
    std::vector<std::uint8_t> m_bytes;
    std::uint64_t m_file_offset = 0;  // bytes; where the record began
};

}  // namespace kest
