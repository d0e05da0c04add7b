#pragma once

// Damage to evidence, done on purpose.

#include "support/byte_builder.h"

namespace kest::disk {

// What is left of an image that was cut off at `size`.
inline bytes cut(bytes image, std::size_t size) {
    image.resize(std::min(size, image.size()));
    return image;
}

// One bit turned over; bits count from the lowest of the first byte.
inline bytes flip(bytes image, std::size_t bit) {
    image.at(bit / 8) ^= static_cast<u8>(1u << (bit % 8));
    return image;
}

}  // namespace kest::disk
