#pragma once

#include <cstdint>
#include <span>

#include "portable/file.h"

namespace uni {

// Reads a file from one offset to another in blocks, and of a sparse file only what holds data: what is left out would
// read as zeros. Blocks begin and end at multiples of `grain` bytes behind `begin`, or at the end.
class block_reader {
public:
    // `source` must be open and outlive the reader. What lies behind its end is not read.
    block_reader(const file& source, std::uint64_t begin, std::uint64_t end, std::size_t grain);

    // Goes on to where the next data lies. False at the end.
    [[nodiscard]] bool advance();

    // After `advance`: where the next block begins.
    std::uint64_t position() const { return m_position; }

    struct block {
        std::uint64_t offset = 0;  // bytes, in the file
        std::size_t bytes = 0;
        bool failed = false;  // reading on behind these bytes failed; the next block begins at the grain behind
    };
    // Reads the data that `advance` has found, as much as fits into `buffer`, which has room for at least one grain.
    // Fewer bytes than the data ahead has: the end, or a failure. Every call gets on by one grain at least.
    block read(std::span<std::uint8_t> buffer);

private:
    std::uint64_t grain_floor(std::uint64_t offset) const { return offset - (offset - m_begin) % m_grain; }

    const file& m_source;
    const std::uint64_t m_begin;
    const std::uint64_t m_end;
    const std::size_t m_grain;
    std::uint64_t m_position;      // where the next block begins
    std::uint64_t m_data_end = 0;  // data reaches up to there from `m_position` on
};

}  // namespace uni
