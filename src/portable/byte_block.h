#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

namespace uni {

// An owned run of bytes that stays where it is when its owner moves. Its contents begin unsettled, since something
// is about to be read into it.
class byte_block {
public:
    byte_block() = default;
    // Throws std::bad_alloc. A block of some megabytes asks the system for large pages, which are much cheaper to
    // come by than many small ones.
    explicit byte_block(std::size_t size);

    std::span<std::uint8_t> bytes() const { return {m_bytes.get(), m_bytes.get_deleter().size}; }

private:
    struct deleter {
        std::size_t size = 0;
        void operator()(std::uint8_t* bytes) const;
    };
    std::unique_ptr<std::uint8_t[], deleter> m_bytes;
};

// Gives the memory of whole pages behind bytes of a block back to the system. What the bytes hold is unsettled then.
void release_pages(std::span<std::uint8_t> bytes);

}  // namespace uni
