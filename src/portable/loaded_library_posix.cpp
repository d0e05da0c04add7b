#include <dlfcn.h>

#include "portable/loaded_library.h"

namespace uni {

loaded_library::loaded_library(const char* name) : m_handle(::dlopen(name, RTLD_NOW | RTLD_LOCAL)) {}

void* loaded_library::address_of(const char* name) const {
    return m_handle != nullptr ? ::dlsym(m_handle, name) : nullptr;
}

}  // namespace uni
