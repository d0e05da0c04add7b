#pragma once

namespace uni {

// Asks for the memory at an address, which is read soon. Where the compiler has no way to ask nothing happens.
inline void prefetch([[maybe_unused]] const void* address) {
#if defined(__GNUC__)
    __builtin_prefetch(address);
#endif
}

}  // namespace uni
