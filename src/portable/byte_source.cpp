#include "portable/byte_source.h"

#include <algorithm>

namespace uni {

block_reader::block_reader(const byte_source& source, std::uint64_t begin, std::uint64_t end, std::size_t grain)
    : m_source(source), m_begin(begin), m_end(std::min(end, source.size())), m_grain(grain), m_position(begin) {}

bool block_reader::advance() {
    if (m_position >= m_end) return false;
    if (m_position < m_data_end) return true;
    const std::uint64_t data = m_source.next_data(m_position);
    if (data >= m_end) return false;
    m_position = grain_floor(data);
    const std::uint64_t hole = std::max(m_source.next_hole(data), data + 1);
    m_data_end = std::min(m_end, grain_floor(hole - 1) + m_grain);
    return true;
}

block_reader::block block_reader::read(std::span<std::uint8_t> buffer) {
    const std::size_t room = buffer.size() - buffer.size() % m_grain;
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(room, m_data_end - m_position));
    const read_result result = m_source.read_at(buffer.first(wanted), m_position);
    const block got{.offset = m_position, .bytes = result.bytes, .failed = result.failed};
    if (result.bytes == wanted) {
        m_position += wanted;
    } else if (result.failed) {
        m_position = grain_floor(m_position + result.bytes) + m_grain;
    } else {
        m_position = m_end;
    }
    return got;
}

}  // namespace uni
