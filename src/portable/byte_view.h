#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace uni {

// All on-disk integers are little-endian, and `byte_view` reads them as the host does.
static_assert(std::endian::native == std::endian::little);

// Where a field lies, in bytes from the start of its structure, and how wide it is.
template <class integer>
struct field {
    std::uint32_t offset;
    constexpr std::uint32_t end() const { return offset + static_cast<std::uint32_t>(sizeof(integer)); }
};

// A read-only window on bytes that somebody else owns, read as little-endian fields at byte offsets.
// Every read is total: a field not wholly inside reads as 0, a slice is cut at the window's end. Whoever must
// distinguish "absent" from "zero" asks `has`. The owner must outlive the view.
class byte_view {
public:
    constexpr byte_view() = default;
    constexpr byte_view(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}
    template <std::same_as<std::span<std::uint8_t>> writable>
    constexpr byte_view(writable bytes) : m_bytes(bytes) {}

    constexpr std::size_t size() const { return m_bytes.size(); }
    constexpr bool empty() const { return m_bytes.empty(); }

    // Subtracts instead of adding: no offset taken from the input can wrap.
    constexpr bool has(std::uint64_t offset, std::uint64_t width) const {
        return offset <= size() && width <= size() - offset;
    }

    template <class integer>
    constexpr integer get(field<integer> f) const {
        return read<integer>(f.offset);
    }
    constexpr std::uint8_t u8(std::uint64_t offset) const { return read<std::uint8_t>(offset); }
    constexpr std::uint16_t u16(std::uint64_t offset) const { return read<std::uint16_t>(offset); }
    constexpr std::uint32_t u32(std::uint64_t offset) const { return read<std::uint32_t>(offset); }
    constexpr std::uint64_t u64(std::uint64_t offset) const { return read<std::uint64_t>(offset); }

    // What lies inside of the `length` bytes at `offset`.
    constexpr byte_view slice(std::uint64_t offset, std::uint64_t length) const {
        if (offset >= size()) return {};
        const auto begin = static_cast<std::size_t>(offset);
        return m_bytes.subspan(begin, static_cast<std::size_t>(std::min<std::uint64_t>(length, size() - begin)));
    }
    constexpr byte_view from(std::uint64_t offset) const { return slice(offset, size()); }

    // The bytes themselves, for whole-range work such as dumps and copies.
    constexpr std::span<const std::uint8_t> bytes() const { return m_bytes; }

private:
    template <class integer>
    constexpr integer read(std::uint64_t offset) const {
        if (!has(offset, sizeof(integer))) return 0;
        std::array<std::uint8_t, sizeof(integer)> raw{};
        std::copy_n(m_bytes.data() + offset, raw.size(), raw.begin());
        return std::bit_cast<integer>(raw);  // one load; g++ 12 leaves a shift-and-or loop a loop
    }

    std::span<const std::uint8_t> m_bytes;
};

// By their bytes; of two that begin alike the shorter one comes first.
inline std::strong_ordering compare_bytes(byte_view one, byte_view other) {
    const std::size_t shared = std::min(one.bytes().size(), other.bytes().size());
    const int order = shared != 0 ? std::memcmp(one.bytes().data(), other.bytes().data(), shared) : 0;
    return order != 0 ? order <=> 0 : one.bytes().size() <=> other.bytes().size();
}

}  // namespace uni
