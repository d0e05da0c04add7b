#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

#include "portable/byte_view.h"

namespace kest {

// Clusters of a file that follow each other on the volume. All numbers in clusters.
struct cluster_run {
    std::uint64_t vcn = 0;
    std::optional<std::uint64_t> lcn = {};  // nothing: a hole
    std::uint64_t clusters = 0;

    std::uint64_t end_vcn() const { return vcn + clusters; }
    // What of it begins at `from`, and has so many clusters.
    cluster_run part(std::uint64_t from, std::uint64_t count) const {
        return {from, lcn ? std::optional(*lcn + (from - vcn)) : std::nullopt, count};
    }
};

// A number of a mapping pair, in `width` bytes; of a wider one than eight bytes, what these hold.
inline std::uint64_t mapping_number(uni::byte_view pairs, std::size_t begin, std::size_t width, bool has_sign) {
    width = std::min(width, sizeof(std::uint64_t));
    if (width == 0) return 0;
    std::uint64_t value = 0;
    if (pairs.has(begin, sizeof value)) {
        value = pairs.u64(begin) << 8 * (sizeof value - width);
    } else {
        for (std::size_t at = width; at != 0; --at)
            value = value << 8 | pairs.u8(begin + at - 1);
        value <<= 8 * (sizeof value - width);
    }
    const auto unused = static_cast<int>(8 * (sizeof value - width));
    return has_sign ? static_cast<std::uint64_t>(static_cast<std::int64_t>(value) >> unused) : value >> unused;
}

// Reads mapping pairs one by one. Numbers of clusters are modulo 2^64.
class run_reader {
public:
    run_reader() = default;
    // `vcn`: where the first run begins; `lcn`: what its step counts from.
    explicit run_reader(uni::byte_view pairs, std::uint64_t vcn, std::uint64_t lcn = 0)
        : m_pairs(pairs), m_end_vcn(vcn), m_lcn(lcn) {}

    // False at the end of the list, or where a pair does not fit.
    bool next() {
        const std::uint8_t widths = m_pairs.u8(0);
        const std::size_t length_width = widths & 15;
        const std::size_t step_width = widths >> 4;
        if (length_width == 0 || length_width > 8 || step_width > 8) return false;
        if (!m_pairs.has(0, 1 + length_width + step_width)) return false;
        m_vcn = m_end_vcn;
        m_end_vcn += mapping_number(m_pairs, 1, length_width, false);
        m_hole = step_width == 0;
        m_lcn += mapping_number(m_pairs, 1 + length_width, step_width, true);
        m_pairs = m_pairs.from(1 + length_width + step_width);
        return true;
    }

    std::uint64_t vcn() const { return m_vcn; }
    std::optional<std::uint64_t> lcn() const { return m_hole ? std::nullopt : std::optional(m_lcn); }
    std::uint64_t clusters() const { return m_end_vcn - m_vcn; }
    // Where the next run begins, what its step counts from, and the pairs from there on.
    std::uint64_t end_vcn() const { return m_end_vcn; }
    std::uint64_t last_lcn() const { return m_lcn; }
    uni::byte_view rest() const { return m_pairs; }

private:
    uni::byte_view m_pairs;
    std::uint64_t m_vcn = 0;
    std::uint64_t m_end_vcn = 0;
    std::uint64_t m_lcn = 0;
    bool m_hole = false;
};

}  // namespace kest
