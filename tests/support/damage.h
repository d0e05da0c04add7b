#pragma once

// Damage to evidence, done on purpose.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kest::disk {

// What is left of an image that was cut off at `size`.
inline std::vector<std::uint8_t> cut(std::vector<std::uint8_t> image, std::size_t size) {
    image.resize(std::min(size, image.size()));
    return image;
}

// One bit turned over; bits count from the lowest of the first byte.
inline std::vector<std::uint8_t> flip(std::vector<std::uint8_t> image, std::size_t bit) {
    image.at(bit / 8) ^= static_cast<std::uint8_t>(1u << (bit % 8));
    return image;
}

// Two whole pages of 4096 bytes in each other's place; pages count from 0.
inline std::vector<std::uint8_t> swap_pages(std::vector<std::uint8_t> image, std::size_t a, std::size_t b) {
    constexpr std::size_t page = 4096;
    if (std::max(a, b) < image.size() / page) {
        const auto first = image.begin() + static_cast<std::ptrdiff_t>(a * page);
        std::swap_ranges(first, first + static_cast<std::ptrdiff_t>(page),
                         image.begin() + static_cast<std::ptrdiff_t>(b * page));
    }
    return image;
}

}  // namespace kest::disk
