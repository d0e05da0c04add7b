#include "portable/block_stream.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <utility>

#include "portable/ending_signals.h"

namespace uni {

namespace {

// Small against the caches, and so large that a thread for each costs little.
constexpr std::size_t bytes_ahead = std::size_t{2} << 20;

}  // namespace

block_stream::block_stream(const byte_source& source, const shape& s)
    : block_stream(source, s, [this] { return other_room(); }) {}

block_stream::block_stream(const byte_source& source, const shape& s, room_maker make_room)
    : m_shape(s),
      m_ahead(source.reads_ahead()),
      m_make_room(std::move(make_room)),
      m_reader(source, 0, source.size(), s.grain) {}

bool block_stream::advance() {
    return m_at < m_now.blocks.size() || m_thread || m_reader.advance();
}

std::uint64_t block_stream::position() const {
    if (m_at < m_now.blocks.size()) return m_now.blocks[m_at].offset;
    return m_thread ? m_next_begin : m_reader.position();
}

block_stream::block block_stream::read(std::span<const std::uint8_t> left) {
    if (m_at == m_now.blocks.size()) {
        if (!m_thread) prepare(m_next);
        std::ranges::copy(left, m_next.room.subspan(m_shape.lead - left.size()).begin());  // may lie in that room
        if (m_thread) {
            m_thread->wait();
            m_thread.reset();
        } else {
            fill(m_next, 1);
        }
        std::swap(m_now, m_next);
        m_at = 0;
        m_place = m_shape.lead;
    }
    const block_reader::block& next = m_now.blocks[m_at++];
    const std::span<std::uint8_t> room = m_now.room.subspan(m_place - left.size());
    m_place += next.bytes;
    return {.offset = next.offset - left.size(),
            .arrived = next.bytes,
            .failed = next.failed,
            .bytes = room.first(left.size() + next.bytes),
            .room = room};
}

// Two of its own, in turn.
std::span<std::uint8_t> block_stream::other_room() {
    const std::size_t at = m_rooms_given % 2;
    const std::size_t blocks = m_ahead ? std::max<std::size_t>(bytes_ahead / m_shape.block_size, 1) : 1;
    if (at == m_rooms.size()) m_rooms.emplace_back(m_shape.lead + blocks * m_shape.block_size);
    if (m_ahead) ++m_rooms_given;
    return m_rooms[at].bytes();
}

void block_stream::prepare(batch& next) {
    next.room = m_make_room();
    next.blocks.clear();
    next.blocks.reserve(next.room.size() / std::min(m_shape.block_size, next.room.size()));
}

// Blocks that follow one another lie so in the room, too: what is left of one stands right before the next.
void block_stream::fill(batch& next, std::size_t most_blocks) {
    std::span<std::uint8_t> room = next.room.subspan(m_shape.lead);
    while (next.blocks.size() < most_blocks) {
        const std::size_t size = std::min(m_shape.block_size, room.size());
        const block_reader::block got = m_reader.read(room.first(size));
        next.blocks.push_back(got);
        room = room.subspan(got.bytes);
        if (got.failed || got.bytes < size || room.size() < m_shape.block_size) return;
        if (!m_reader.advance() || m_reader.position() != got.offset + size) return;
    }
}

// What lacks memory is read when its turn comes.
void block_stream::read_ahead() {
    if (!m_ahead || m_thread || m_now.blocks.empty() || m_now.blocks.back().failed || !m_reader.advance()) return;
    m_next_begin = m_reader.position();
    try {
        prepare(m_next);
    } catch (const std::bad_alloc&) {
        return;
    }
    const signals_held held;  // from the thread
    m_thread.emplace([this] { fill(m_next, SIZE_MAX); });
}

}  // namespace uni
