#pragma once

#include <bit>

namespace uni {

// A library that is loaded where it is needed only: with a large one each start of the program takes half as long
// again. It stays for the rest of the process.
class loaded_library {
public:
    // Looked for where the system keeps its libraries and, on Windows, beside the program; never where the run began.
    explicit loaded_library(const char* name);

    template <class function>
    void find(function& call, const char* name) {
        call = std::bit_cast<function>(address_of(name));
        m_whole = m_whole && call != nullptr;
    }
    // Whether all that was looked for is there.
    bool whole() const { return m_whole; }

private:
    // Null: it is not there.
    void* address_of(const char* name) const;

    void* m_handle;
    bool m_whole = true;
};

}  // namespace uni
