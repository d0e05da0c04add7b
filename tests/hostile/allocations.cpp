#include "hostile/allocations.h"

#include <cstdlib>
#include <new>

namespace kest::disk {

allocations allocated;

bool fails() {
    return allocated.before_failing-- <= 0 && allocated.failing-- > 0;
}

namespace {

void* allocate(std::size_t size) {
    return fails() ? nullptr : counted(std::malloc(size));
}

}  // namespace

}  // namespace kest::disk

using namespace kest::disk;

// Not inlined: a compiler that sees through one of a pair takes the other for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (void* const memory = allocate(size)) return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    release(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
    release(memory);
}
