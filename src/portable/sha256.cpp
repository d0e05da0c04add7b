#include "portable/sha256.h"

#ifdef KEST_LIBCRYPTO

#include <array>
#include <bit>
#include <dlfcn.h>
#include <openssl/evp.h>

namespace uni {

namespace {

// Loaded only when it is asked for: with so large a library each start of the program takes half as long again.
struct library {
    decltype(&EVP_MD_CTX_new) create = nullptr;
    decltype(&EVP_MD_CTX_free) destroy = nullptr;
    decltype(&EVP_sha256) sha256 = nullptr;
    decltype(&EVP_DigestInit_ex) begin = nullptr;
    decltype(&EVP_DigestUpdate) add = nullptr;
    decltype(&EVP_DigestFinal_ex) end = nullptr;

    bool whole() const { return create && destroy && sha256 && begin && add && end; }
};

library load() {
    library loaded;
    void* const handle = ::dlopen(KEST_LIBCRYPTO, RTLD_NOW | RTLD_LOCAL);  // stays for the rest of the run
    if (handle == nullptr) return loaded;
    const auto find = [handle]<class function>(function& call, const char* name) {
        call = std::bit_cast<function>(::dlsym(handle, name));
    };
    find(loaded.create, "EVP_MD_CTX_new");
    find(loaded.destroy, "EVP_MD_CTX_free");
    find(loaded.sha256, "EVP_sha256");
    find(loaded.begin, "EVP_DigestInit_ex");
    find(loaded.add, "EVP_DigestUpdate");
    find(loaded.end, "EVP_DigestFinal_ex");
    return loaded;
}

const library& libcrypto() {
    static const library loaded = load();
    return loaded;
}

}  // namespace

struct sha256::state {
    EVP_MD_CTX* context = nullptr;
    bool good = false;

    state() {
        if (!libcrypto().whole()) return;
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
    return libcrypto().whole();
}

void sha256::add(std::span<const std::uint8_t> bytes) {
    m_state->good = m_state->good && libcrypto().add(m_state->context, bytes.data(), bytes.size()) == 1;
}

std::string sha256::digest() {
    constexpr char digits[] = "0123456789abcdef";
    std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
    unsigned length = 0;
    if (!m_state->good || libcrypto().end(m_state->context, bytes.data(), &length) != 1) return {};
    std::string text;
    for (unsigned at = 0; at < length; ++at) {
        text += digits[bytes[at] >> 4];
        text += digits[bytes[at] & 15];
    }
    return text;
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
