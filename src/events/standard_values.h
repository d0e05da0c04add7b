#pragma once

#include <algorithm>
#include <array>
#include <bitset>
#include <cstdint>
#include <optional>

#include "mft/record_layout.h"
#include "portable/byte_view.h"

namespace kest {

// A $STANDARD_INFORMATION value as far as it is known: records write pieces of it, some within a time.
class standard_values {
public:
    static constexpr std::size_t size = standard_information_layout::size;

    // What lies inside of the value of `bytes`, which begin at `offset`. `lay` replaces, `fill` adds to what is known.
    void lay(std::size_t offset, uni::byte_view bytes) { take(offset, bytes, true); }
    void fill(std::size_t offset, uni::byte_view bytes) { take(offset, bytes, false); }
    void fill(const standard_values& other) {
        if (m_known.all()) return;
        for (std::size_t at = 0; at < size; ++at) {
            if (!m_known[at]) m_bytes[at] = other.m_bytes[at];
        }
        m_known |= other.m_known;
    }

    bool knows_all() const { return m_known.all(); }
    template <class integer>
    std::optional<integer> get(uni::field<integer> f) const {
        for (std::size_t at = f.offset; at < f.end(); ++at) {
            if (!m_known[at]) return std::nullopt;
        }
        return known_bytes(f);
    }
    // With zeros for what is not known.
    template <class integer>
    integer known_bytes(uni::field<integer> f) const {
        return uni::byte_view(std::span<const std::uint8_t>(m_bytes)).get(f);
    }

private:
    void take(std::size_t offset, uni::byte_view bytes, bool replace) {
        const uni::byte_view inside = bytes.slice(0, size - std::min(size, offset));
        if (inside.empty()) return;
        const std::bitset<size> range = (~std::bitset<size>{} >> (size - inside.size())) << offset;
        if (replace || (m_known & range).none()) {
            std::ranges::copy(inside.bytes(), m_bytes.begin() + static_cast<std::ptrdiff_t>(offset));
        } else if ((m_known & range) != range) {
            for (std::size_t at = 0; at < inside.size(); ++at) {
                if (!m_known[offset + at]) m_bytes[offset + at] = inside.u8(at);
            }
        }
        m_known |= range;
    }

    std::array<std::uint8_t, size> m_bytes{};
    std::bitset<size> m_known;
};

}  // namespace kest
