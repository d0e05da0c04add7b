#include "portable/large_pages.h"

#include <cstdint>
#include <cstdlib>
#include <sys/mman.h>

namespace uni {

// Less than half a large page would waste more than it saves.
void* allocate_pages(std::size_t size) {
    constexpr std::size_t least = large_page / 2;
    if (size < least || size > SIZE_MAX - large_page) return std::malloc(size);
    const std::size_t whole = (size + large_page - 1) / large_page * large_page;
    void* const memory = std::aligned_alloc(large_page, whole);
    if (memory != nullptr) ::madvise(memory, whole, MADV_HUGEPAGE);  // a wish: the system may not have any
    return memory;
}

void free_pages(void* memory) {
    std::free(memory);
}

}  // namespace uni
