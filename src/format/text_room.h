#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>

namespace kest {

// A text that is put in place, piece by piece, into bytes that nothing was written to before.
class text_room {
public:
    // Room for `most` bytes behind the text; `end_at` then says how far it goes.
    char* room(std::size_t most) {
        if (most > m_capacity - m_size) grow(most);
        return m_bytes.get() + m_size;
    }
    void end_at(const char* end) { m_size = place_of(end); }
    std::size_t place_of(const char* at) const { return static_cast<std::size_t>(at - m_bytes.get()); }
    void clear() { m_size = 0; }  // keeps the capacity

    std::size_t size() const { return m_size; }
    std::string_view text() const { return {m_bytes.get(), m_size}; }

private:
    void grow(std::size_t most) {
        const std::size_t capacity = std::max(m_size + most, 2 * m_capacity);
        std::unique_ptr<char[]> bytes(new char[capacity]);
        std::copy_n(m_bytes.get(), m_size, bytes.get());
        m_bytes = std::move(bytes);
        m_capacity = capacity;
    }

    std::unique_ptr<char[]> m_bytes;
    std::size_t m_size = 0;
    std::size_t m_capacity = 0;
};

}  // namespace kest
