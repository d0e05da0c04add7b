#include "portable/large_pages.h"

#include <cstdint>
#include <cstdlib>
#include <sys/mman.h>

namespace uni {

// What is left behind the last whole large page comes in small ones: most of a large one might never be needed.
void* allocate_pages(std::size_t size) {
    if (size < large_page || size > SIZE_MAX - large_page) return std::malloc(size);
    void* const memory = std::aligned_alloc(large_page, (size + large_page - 1) / large_page * large_page);
    // A wish: the system may not have any.
    if (memory != nullptr) ::madvise(memory, size / large_page * large_page, MADV_HUGEPAGE);
    return memory;
}

void free_pages(void* memory) {
    std::free(memory);
}

}  // namespace uni
