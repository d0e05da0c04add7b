#pragma once

// Little-endian images from their parts: pack(u32{0x80}, u8{1}, at{16}, u"name", other_image).

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>
#include <vector>

namespace kest::disk {

using u8 = std::uint8_t;
using u16 = std::uint16_t;
using u32 = std::uint32_t;
using u64 = std::uint64_t;
using bytes = std::vector<u8>;

// What follows goes to this offset; the image grows to it with zeros if it is shorter.
struct at {
    std::size_t offset;
};

template <class... part>
bytes pack(const part&... parts) {
    bytes image;
    std::size_t position = 0;
    const auto raw = [&](const void* begin, std::size_t size) {
        image.resize(std::max(image.size(), position + size));
        if (size != 0) std::memcpy(image.data() + position, begin, size);
        position += size;
    };
    const auto put = [&]<class type>(const type& value) {
        if constexpr (std::is_same_v<type, at>) {
            position = value.offset;
            raw(nullptr, 0);
        } else if constexpr (std::is_integral_v<type>) {
            raw(&value, sizeof value);
        } else if constexpr (std::is_same_v<type, bytes>) {
            raw(value.data(), value.size());
        } else {
            raw(std::u16string_view(value).data(), std::u16string_view(value).size() * 2);
        }
    };
    (put(parts), ...);
    return image;
}

// Writes an integer over the bytes at `offset`, which must be there.
template <class integer>
void put(bytes& image, std::size_t offset, integer value) {
    std::memcpy(&image.at(offset + sizeof value - 1) - (sizeof value - 1), &value, sizeof value);
}

// Writes bytes over those at `offset`; the image grows if it is too short.
inline void lay(bytes& image, std::size_t offset, const bytes& part) {
    image.resize(std::max(image.size(), offset + part.size()));
    std::ranges::copy(part, image.begin() + static_cast<std::ptrdiff_t>(offset));
}

inline void append(bytes& image, const bytes& part) {
    image.insert(image.end(), part.begin(), part.end());
}

inline bytes part(const bytes& whole, std::size_t begin, std::size_t end = SIZE_MAX) {
    const auto first = whole.begin();
    return {first + static_cast<std::ptrdiff_t>(begin),
            first + static_cast<std::ptrdiff_t>(std::min(end, whole.size()))};
}

constexpr std::size_t padded(std::size_t size) {
    return (size + 7) & ~std::size_t{7};
}

// Protects the sectors of a page or file record: the last word of each goes into the array at `array + 2` and its
// place is taken by `value`.
inline void protect_sectors(bytes& image, std::size_t array, u16 value) {
    put(image, array, value);
    for (std::size_t sector = 0; sector < image.size() / 512; ++sector) {
        const std::size_t last_word = 512 * sector + 510;
        std::memcpy(&image.at(array + 2 + 2 * sector), &image.at(last_word), 2);
        put(image, last_word, value);
    }
}

}  // namespace kest::disk
