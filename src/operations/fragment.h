#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "portable/byte_view.h"

namespace kest {

// An on-disk structure as far as a log record holds it: whole, cut at its end, or a piece of it laid into zeros.
// Offsets count from the structure's first byte.
struct fragment {
    uni::byte_view bytes;      // from the structure's first byte; also what follows it, where it is whole
    bool partial = false;      // more of the structure is not at hand
    std::uint64_t begin = 0;   // from here
    std::uint64_t end = 0;     // to before here the bytes are the record's own
    std::uint64_t length = 0;  // bytes that the structure counts as having

    // True for a field whose first byte is the record's own.
    bool shows(std::uint32_t offset) const { return begin <= offset && end > offset; }
    // False for a field that the structure ends before.
    bool reaches(std::uint64_t offset) const { return length > offset; }
    bool stops_before(std::uint64_t offset) const { return partial && !reaches(offset); }
    // True if the bytes end ahead of what ends at `offset`.
    bool cuts(std::uint64_t offset) const { return partial && length < offset; }
};

// A structure of which the first bytes are at hand, or all.
inline fragment beginning_of(uni::byte_view bytes, bool partial) {
    return {bytes, partial, 0, bytes.size(), bytes.size()};
}

// Lays `piece` into an image of zeros, which must outlive the result; what does not fit is cut, and counts all the
// same.
template <std::size_t size>
fragment lay_fragment(std::array<std::uint8_t, size>& image, std::size_t offset, uni::byte_view piece) {
    const auto fitting = piece.slice(0, size - offset).bytes();
    std::copy(fitting.begin(), fitting.end(), image.begin() + static_cast<std::ptrdiff_t>(offset));
    const std::uint64_t end = offset + std::uint64_t{piece.size()};
    return {uni::byte_view(std::span<const std::uint8_t>(image)), true, offset, end, end};
}

}  // namespace kest
