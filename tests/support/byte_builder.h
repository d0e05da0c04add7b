#pragma once

// Little-endian images from their parts: pack(u32{0x80}, u8{1}, at{16}, u"name", other_image).

#include <cstring>
#include <string_view>
#include <type_traits>

#include "support/log_image.h"

namespace kest::disk {

using u8 = std::uint8_t;
using u16 = std::uint16_t;
using u32 = std::uint32_t;
using u64 = std::uint64_t;

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

}  // namespace kest::disk
