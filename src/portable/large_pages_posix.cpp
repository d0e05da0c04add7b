#include <cstdint>
#include <memory>
#include <new>
#include <sys/mman.h>
#include <unistd.h>

#include "portable/large_pages.h"

namespace uni {

namespace {

bool comes_in_large_pages(std::size_t size) {
    return size > large_page / 2 && size <= SIZE_MAX - large_page;
}

}  // namespace

// What is left after the last whole large page comes in small ones if it is less than half of one: the rest of it might
// never be needed.
void* allocate_pages(std::size_t size) {
    if (!comes_in_large_pages(size)) return ::operator new(size, std::nothrow);
    const std::size_t whole = (size + large_page - 1) / large_page * large_page;
    void* const memory = ::operator new (whole, std::align_val_t{large_page}, std::nothrow);
    // A wish: the system may not have any.
    if (memory != nullptr) ::madvise(memory, (size + large_page / 2) / large_page * large_page, MADV_HUGEPAGE);
    return memory;
}

void free_pages(void* memory, std::size_t size) {
    if (!comes_in_large_pages(size)) return ::operator delete(memory);
    ::operator delete (memory, std::align_val_t{large_page});
}

byte_block::byte_block(std::size_t size) : m_bytes(static_cast<std::uint8_t*>(allocate_pages(size)), deleter{size}) {
    if (m_bytes == nullptr) throw std::bad_alloc();
}

void release_pages(std::span<std::uint8_t> bytes) {
    static const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    void* first = bytes.data();
    std::size_t room = bytes.size();
    if (std::align(page, page, first, room) != nullptr) ::madvise(first, room - room % page, MADV_DONTNEED);
}

}  // namespace uni
