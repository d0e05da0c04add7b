#include <windows.h>
#include <bit>

#include "portable/loaded_library.h"

namespace uni {

loaded_library::loaded_library(const char* name)
    : m_handle(::LoadLibraryExA(name, nullptr, LOAD_LIBRARY_SEARCH_APPLICATION_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32)) {}

void* loaded_library::address_of(const char* name) const {
    if (m_handle == nullptr) return nullptr;
    return std::bit_cast<void*>(::GetProcAddress(static_cast<HMODULE>(m_handle), name));
}

}  // namespace uni
