#include "portable/sha256.h"

#ifdef KEST_LIBCRYPTO

#include <array>
#include <openssl/evp.h>

#include "portable/loaded_library.h"

namespace uni {

namespace {

struct crypto_calls {
    decltype(&EVP_MD_CTX_new) create = nullptr;
    decltype(&EVP_MD_CTX_free) destroy = nullptr;
    decltype(&EVP_sha256) sha256 = nullptr;
    decltype(&EVP_DigestInit_ex) begin = nullptr;
    decltype(&EVP_DigestUpdate) add = nullptr;
    decltype(&EVP_DigestFinal_ex) end = nullptr;
    bool whole = false;
};

crypto_calls load() {
    crypto_calls crypto;
    loaded_library library(KEST_LIBCRYPTO);
    library.find(crypto.create, "EVP_MD_CTX_new");
    library.find(crypto.destroy, "EVP_MD_CTX_free");
    library.find(crypto.sha256, "EVP_sha256");
    library.find(crypto.begin, "EVP_DigestInit_ex");
    library.find(crypto.add, "EVP_DigestUpdate");
    library.find(crypto.end, "EVP_DigestFinal_ex");
    crypto.whole = library.whole();
    return crypto;
}

const crypto_calls& libcrypto() {
    static const crypto_calls loaded = load();
    return loaded;
}

}  // namespace

struct sha256::state {
    EVP_MD_CTX* context = nullptr;
    bool good = false;

    state() {
        if (!libcrypto().whole) return;
        context = libcrypto().create();
        good = context != nullptr && libcrypto().begin(context, libcrypto().sha256(), nullptr) == 1;
    }
    ~state() {
        if (context != nullptr) libcrypto().destroy(context);
    }
    state(const state&) = delete;
    state& operator=(const state&) = delete;
};

bool sha256::available() {
    return libcrypto().whole;
}

void sha256::add(std::span<const std::uint8_t> bytes) {
    m_state->good = m_state->good && libcrypto().add(m_state->context, bytes.data(), bytes.size()) == 1;
}

std::string sha256::digest() {
    std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
    unsigned length = 0;
    if (!m_state->good || libcrypto().end(m_state->context, bytes.data(), &length) != 1) return {};
    return hexadecimal(std::span(bytes).first(length));
}

#else

namespace uni {

struct sha256::state {};

bool sha256::available() {
    return false;
}

void sha256::add(std::span<const std::uint8_t>) {}

std::string sha256::digest() {
    return {};
}

#endif

sha256::sha256() : m_state(std::make_unique<state>()) {}

sha256::~sha256() = default;

}  // namespace uni
