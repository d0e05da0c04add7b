#pragma once

#include <cstddef>
#include <limits>
#include <new>
#include <vector>

namespace uni {

inline constexpr std::size_t large_page = std::size_t{2} << 20;  // bytes

// Memory of `size` bytes; null if there is none. That of some megabytes asks the system for large pages, which are much
// cheaper to come by than many small ones.
void* allocate_pages(std::size_t size);
void free_pages(void* memory, std::size_t size);  // with the size that was asked for

// For vectors that grow with the evidence.
template <class element>
struct large_page_allocator {
    using value_type = element;

    large_page_allocator() = default;
    template <class other>
    large_page_allocator(const large_page_allocator<other>&) {}

    element* allocate(std::size_t count) {
        if (count > std::numeric_limits<std::size_t>::max() / sizeof(element)) throw std::bad_alloc();
        void* const memory = allocate_pages(count * sizeof(element));
        if (memory == nullptr) throw std::bad_alloc();
        return static_cast<element*>(memory);
    }
    void deallocate(element* memory, std::size_t count) { free_pages(memory, count * sizeof(element)); }

    template <class other>
    bool operator==(const large_page_allocator<other>&) const {
        return true;
    }
};

template <class element>
using large_vector = std::vector<element, large_page_allocator<element>>;

}  // namespace uni
