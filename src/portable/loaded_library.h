#pragma once

#include <bit>
#include <dlfcn.h>

namespace uni {

// A library that is loaded where it is needed only: with a large one each start of the program takes half as long
// again. It stays for the rest of the process.
class loaded_library {
public:
    explicit loaded_library(const char* name) : m_handle(::dlopen(name, RTLD_NOW | RTLD_LOCAL)) {}

    template <class function>
    void find(function& call, const char* name) {
        if (m_handle != nullptr) call = std::bit_cast<function>(::dlsym(m_handle, name));
        m_whole = m_whole && call != nullptr;
    }
    // Whether all that was looked for is there.
    bool whole() const { return m_whole; }

private:
    void* m_handle;
    bool m_whole = true;
};

}  // namespace uni
