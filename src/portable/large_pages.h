#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <vector>

namespace uni {

inline constexpr std::size_t large_page = std::size_t{2} << 20;  // bytes

// Memory of `size` bytes; null if there is none. That of a megabyte or more asks the system for large pages, which are
// much cheaper to come by than many small ones.
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

// An owned run of bytes that stays where it is when its owner moves. Its contents begin unsettled, since something
// is about to be read into it: a vector would go over them one by one where nothing is optimised.
class byte_block {
public:
    explicit byte_block(std::size_t size);  // throws std::bad_alloc

    std::span<std::uint8_t> bytes() const { return {m_bytes.get(), m_bytes.get_deleter().size}; }

private:
    struct deleter {
        std::size_t size = 0;
        void operator()(std::uint8_t* bytes) const { free_pages(bytes, size); }
    };
    std::unique_ptr<std::uint8_t[], deleter> m_bytes;
};

// Gives the whole pages that lie in some bytes of a block back to the system. What the bytes hold is unsettled then.
void release_pages(std::span<std::uint8_t> bytes);

// Gives back the room that a vector does not use. If it grows again, the system provides those pages anew.
template <class element>
void release_room(large_vector<element>& list) {
    auto* const end = reinterpret_cast<std::uint8_t*>(list.data() + list.size());
    release_pages({end, (list.capacity() - list.size()) * sizeof(element)});
}

// Reserves room in a container. One that cannot be had costs nothing: the container then grows as it is filled.
template <class container>
void try_reserve(container& c, std::size_t count) {
    try {
        c.reserve(count);
    } catch (const std::bad_alloc&) {
    }
}

}  // namespace uni
