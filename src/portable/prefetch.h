#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace uni {

// Asks for the memory at an address, which is read soon. Where the compiler has no way to ask nothing happens.
inline void prefetch([[maybe_unused]] const void* address) {
#if defined(__GNUC__)
    __builtin_prefetch(address);
#endif
}

// The same for some bytes, one line of the processor's cache after the other.
inline void prefetch(std::span<const std::uint8_t> bytes) {
    constexpr std::size_t line = 64;
    for (std::size_t at = 0; at < bytes.size(); at += line)
        prefetch(bytes.data() + at);
}

}  // namespace uni
