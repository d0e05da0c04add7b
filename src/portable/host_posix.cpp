#include <array>
#include <cstdlib>
#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <pthread.h>
#include <unistd.h>

#include "portable/host.h"

namespace uni {

namespace {

// The GNU library would keep what was freed for later, in ever larger pieces.
void return_freed_memory() {
#ifdef __GLIBC__
    ::mallopt(M_MMAP_THRESHOLD, 1 << 20);
#endif
}

// The GNU library gives each thread's stack as much address space as the main thread's may take. Where address space is
// limited, that is missing elsewhere. Nothing here recurses deeply.
void limit_stacks_of_threads() {
#ifdef __GLIBC__
    constexpr std::size_t most = std::size_t{1} << 20;  // bytes
    pthread_attr_t attributes;
    if (::pthread_getattr_default_np(&attributes) != 0) return;
    std::size_t size = 0;
    if (::pthread_attr_getstacksize(&attributes, &size) == 0 && size > most &&
        ::pthread_attr_setstacksize(&attributes, most) == 0)
        static_cast<void>(::pthread_setattr_default_np(&attributes));
    ::pthread_attr_destroy(&attributes);
#endif
}

}  // namespace

std::optional<std::string> host_name() {
    std::array<char, 256> name{};
    if (::gethostname(name.data(), name.size() - 1) != 0) return std::nullopt;
    return name.data();
}

std::vector<std::string> take_arguments(int count, char** arguments) {
    return_freed_memory();
    limit_stacks_of_threads();
    return {arguments, arguments + count};
}

std::optional<std::string> environment_value(const std::string& name) {
    const char* const value = std::getenv(name.c_str());
    if (value == nullptr) return std::nullopt;
    return value;
}

}  // namespace uni
