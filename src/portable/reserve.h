#pragma once

#include <cstddef>
#include <new>

namespace uni {

// Asks for room ahead in a container. One that cannot be had costs nothing: the container then grows as it is filled.
template <class container>
void try_reserve(container& c, std::size_t count) {
    try {
        c.reserve(count);
    } catch (const std::bad_alloc&) {
    }
}

}  // namespace uni
