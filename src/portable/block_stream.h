#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "portable/byte_source.h"
#include "portable/large_pages.h"
#include "portable/portable_thread.h"

namespace uni {

// The blocks of a `block_reader`, the same ones in the same order, with their memory. A thread may read the next of
// them while the caller works on those at hand.
class block_stream {
public:
    // Makes room for the next blocks. What it gave the time before last may be given again.
    using room_maker = std::function<std::span<std::uint8_t>()>;

    struct shape {
        std::size_t grain;       // as of a `block_reader`
        std::size_t block_size;  // bytes, at most
        std::size_t lead = 0;    // bytes at the begin of each room that are not read to
    };

    // `source` must be open and outlive the stream.
    block_stream(const byte_source& source, const shape& s);
    block_stream(const byte_source& source, const shape& s, room_maker make_room);
    block_stream(const block_stream&) = delete;
    block_stream& operator=(const block_stream&) = delete;

    // False at the end. Afterwards: where the next block begins.
    [[nodiscard]] bool advance();
    std::uint64_t position() const;

    struct block {
        std::uint64_t offset = 0;  // bytes, in the source
        std::size_t arrived = 0;   // bytes that were read
        bool failed = false;       // reading on after these bytes failed
        std::span<std::uint8_t> bytes;
        std::span<std::uint8_t> room;  // from the first of `bytes` on
    };
    // The block that `advance` has found, after `left`: the end of the block before it, which it follows, at most as
    // long as the lead. The memory of the block before is no longer to be used, unless the caller made it. Throws
    // std::bad_alloc.
    block read(std::span<const std::uint8_t> left = {});
    // After `read`, if the source `reads_ahead`: begins to read the next blocks. Nothing is read on after a failure
    // before `read` is called.
    void read_ahead();

private:
    struct batch {
        std::span<std::uint8_t> room;
        std::vector<block_reader::block> blocks;
    };

    std::span<std::uint8_t> other_room();
    void prepare(batch& next);
    void fill(batch& next, std::size_t most_blocks);

    const shape m_shape;
    const bool m_ahead;
    const room_maker m_make_room;
    block_reader m_reader;  // of the thread, while there is one
    std::vector<byte_block> m_rooms;
    std::size_t m_rooms_given = 0;
    batch m_now;
    std::size_t m_at = 0;     // in `m_now`: the next block
    std::size_t m_place = 0;  // where that lies in the room
    batch m_next;
    std::uint64_t m_next_begin = 0;
    std::optional<kest::portable_thread> m_thread;  // fills `m_next`
};

}  // namespace uni
