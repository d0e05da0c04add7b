#include <cstdlib>
#include <malloc.h>
#include <new>
#include <sys/mman.h>

#include "hostile/allocations.h"

namespace kest::disk {

namespace {

// Shared with the processes that are forked.
std::atomic<std::size_t>& peak() {
    static auto* const shared = new (::mmap(nullptr, sizeof(std::atomic<std::size_t>), PROT_READ | PROT_WRITE,
                                            MAP_SHARED | MAP_ANONYMOUS, -1, 0)) std::atomic<std::size_t>(0);
    return *shared;
}
std::atomic<std::size_t> in_use = 0;

}  // namespace

void* counted(void* memory) {
    if (memory == nullptr) return nullptr;
    const std::size_t now = in_use += ::malloc_usable_size(memory);
    std::size_t most = peak();
    while (most < now && !peak().compare_exchange_weak(most, now)) {
    }
    return memory;
}

void release(void* memory) {
    if (memory != nullptr) in_use -= ::malloc_usable_size(memory);
    std::free(memory);
}

std::size_t take_peak_of_allocations() {
    return peak().exchange(in_use) - in_use;
}

}  // namespace kest::disk

using namespace kest::disk;

[[gnu::noinline]] void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return fails() ? nullptr : counted(std::aligned_alloc(static_cast<std::size_t>(alignment), size));
}
[[gnu::noinline]] void operator delete(void* memory, std::align_val_t) noexcept {
    release(memory);
}
