#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace uni {

// What arrived of a read. Fewer bytes than were asked for, and nothing failed: the source ends there.
struct read_result {
    std::size_t bytes = 0;
    bool failed = false;  // the system could not read on after them, or the file is not open
};

// Bytes that are read at explicit offsets, whatever holds them: a file, or a stream of a volume in an image. Several
// threads may read from one at the same time.
class byte_source {
public:
    byte_source() = default;
    byte_source(const byte_source&) = delete;
    byte_source& operator=(const byte_source&) = delete;
    virtual ~byte_source() = default;

    // Bytes, as last measured.
    virtual std::uint64_t size() const = 0;

    // Reads at most `buffer.size()` bytes at `offset`; fewer only at the end or where reading failed.
    virtual read_result read_at(std::span<std::uint8_t> buffer, std::uint64_t offset) const = 0;

    // The first offset from `offset` on at which there is data and not a hole; the size if none. `offset` itself where
    // that is not known.
    virtual std::uint64_t next_data(std::uint64_t offset) const = 0;
    // The first offset from `offset` on at which a hole begins; the size if none does or that is not known.
    virtual std::uint64_t next_hole(std::uint64_t offset) const = 0;

    // Whether who goes through it is worth a thread that reads the next bytes meanwhile.
    virtual bool reads_ahead() const { return false; }

    // Whether bytes that could not be had were given as zeros.
    virtual bool has_gaps() const { return false; }
};

// Reads a source from one offset to another in blocks, and of a sparse one only what holds data: what is left out would
// read as zeros. Blocks begin and end at multiples of `grain` bytes after `begin`, or at the end.
class block_reader {
public:
    // `source` must be open and outlive the reader. What lies after its end is not read.
    block_reader(const byte_source& source, std::uint64_t begin, std::uint64_t end, std::size_t grain);

    // Goes on to where the next data lies. False at the end.
    [[nodiscard]] bool advance();

    // After `advance`: where the next block begins.
    std::uint64_t position() const { return m_position; }

    struct block {
        std::uint64_t offset = 0;  // bytes, in the source
        std::size_t bytes = 0;
        bool failed = false;  // reading on after these bytes failed; the next block begins at the next grain
    };
    // Reads the data that `advance` has found, as much as fits into `buffer`, which has room for at least one grain.
    // Fewer bytes than the data has: the end, or a failure. Every call gets on by one grain at least.
    block read(std::span<std::uint8_t> buffer);

private:
    std::uint64_t grain_floor(std::uint64_t offset) const { return offset - (offset - m_begin) % m_grain; }

    const byte_source& m_source;
    const std::uint64_t m_begin;
    const std::uint64_t m_end;
    const std::size_t m_grain;
    std::uint64_t m_position;      // where the next block begins
    std::uint64_t m_data_end = 0;  // data reaches up to there from `m_position` on
};

}  // namespace uni
