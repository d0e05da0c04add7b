#include <windows.h>
#include <algorithm>
#include <array>
#include <bcrypt.h>

#include "portable/sha256.h"

namespace uni {

namespace {

constexpr std::size_t digest_size = 32;        // bytes
constexpr std::size_t most_at_once = 1 << 28;  // bytes

// Null: the system has no such algorithm. It stays open.
BCRYPT_ALG_HANDLE algorithm() {
    static const BCRYPT_ALG_HANDLE opened = [] {
        BCRYPT_ALG_HANDLE found = nullptr;
        const NTSTATUS status = ::BCryptOpenAlgorithmProvider(&found, BCRYPT_SHA256_ALGORITHM, nullptr, 0);
        return status == 0 ? found : nullptr;
    }();
    return opened;
}

}  // namespace

struct sha256::state {
    BCRYPT_HASH_HANDLE hash = nullptr;
    bool good = false;

    state() { good = algorithm() != nullptr && ::BCryptCreateHash(algorithm(), &hash, nullptr, 0, nullptr, 0, 0) == 0; }
    ~state() {
        if (hash != nullptr) ::BCryptDestroyHash(hash);
    }
    state(const state&) = delete;
    state& operator=(const state&) = delete;
};

bool sha256::available() {
    return algorithm() != nullptr;
}

sha256::sha256() : m_state(std::make_unique<state>()) {}

sha256::~sha256() = default;

// What is read only is taken as if it could be written: the call is older than `const`.
void sha256::add(std::span<const std::uint8_t> bytes) {
    for (; m_state->good && !bytes.empty(); bytes = bytes.subspan(std::min(bytes.size(), most_at_once))) {
        const auto length = static_cast<ULONG>(std::min(bytes.size(), most_at_once));
        m_state->good = ::BCryptHashData(m_state->hash, const_cast<PUCHAR>(bytes.data()), length, 0) == 0;
    }
}

std::string sha256::digest() {
    std::array<std::uint8_t, digest_size> bytes{};
    if (!m_state->good || ::BCryptFinishHash(m_state->hash, bytes.data(), digest_size, 0) != 0) return {};
    return hexadecimal(bytes);
}

}  // namespace uni
