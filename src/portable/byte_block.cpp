#include "portable/byte_block.h"

#include <new>
#include <sys/mman.h>
#include <unistd.h>

namespace uni {

namespace {

constexpr std::size_t large_page = std::size_t{2} << 20;  // bytes

}  // namespace

byte_block::byte_block(std::size_t size) : m_size(size) {
    const bool large = size >= large_page && size % large_page == 0;
    void* const memory = large ? std::aligned_alloc(large_page, size) : std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc();
    if (large) ::madvise(memory, size, MADV_HUGEPAGE);  // a wish: the system may not have any
    m_bytes.reset(static_cast<std::uint8_t*>(memory));
}

void release_pages(std::span<std::uint8_t> bytes) {
    static const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    void* first = bytes.data();
    std::size_t room = bytes.size();
    if (std::align(page, page, first, room) != nullptr) ::madvise(first, room - room % page, MADV_DONTNEED);
}

}  // namespace uni
