#include "portable/byte_block.h"

#include <new>
#include <sys/mman.h>
#include <unistd.h>

#include "portable/large_pages.h"

namespace uni {

byte_block::byte_block(std::size_t size) : m_bytes(static_cast<std::uint8_t*>(allocate_pages(size)), deleter{size}) {
    if (m_bytes == nullptr) throw std::bad_alloc();
}

void byte_block::deleter::operator()(std::uint8_t* bytes) const {
    free_pages(bytes, size);
}

void release_pages(std::span<std::uint8_t> bytes) {
    static const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    void* first = bytes.data();
    std::size_t room = bytes.size();
    if (std::align(page, page, first, room) != nullptr) ::madvise(first, room - room % page, MADV_DONTNEED);
}

}  // namespace uni
