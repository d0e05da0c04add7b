#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace uni {

// The SHA-256 of bytes that come in pieces, by libcrypto or what the system has in its place.
class sha256 {
public:
    // Whether the program was built with that, and it is there. If not, every digest is empty.
    static bool available();

    sha256();
    ~sha256();
    sha256(const sha256&) = delete;
    sha256& operator=(const sha256&) = delete;

    void add(std::span<const std::uint8_t> bytes);
    // 64 hexadecimal digits, or nothing if the library failed. Ends it.
    std::string digest();

private:
    static std::string hexadecimal(std::span<const std::uint8_t> bytes);

    struct state;
    std::unique_ptr<state> m_state;
};

}  // namespace uni
