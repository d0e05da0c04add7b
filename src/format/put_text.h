#pragma once

#include <cstring>
#include <string_view>

namespace kest {

// Puts a text where there is room for it; returns the end. Most texts are short: those are copied by two moves that may
// overlap, without a call.
[[gnu::always_inline]] inline char* put_text(char* at, std::string_view text) {
    const std::size_t size = text.size();
    const auto put_ends = [&](auto piece) {
        const char* const last = text.data() + size - sizeof piece;
        auto end = piece;
        std::memcpy(&piece, text.data(), sizeof piece);
        std::memcpy(&end, last, sizeof end);
        std::memcpy(at, &piece, sizeof piece);
        std::memcpy(at + size - sizeof end, &end, sizeof end);
    };
    struct sixteen_bytes {
        unsigned long long halves[2];
    };
    if (size > 16) {
        if (size > 32) {
            std::memcpy(at, text.data(), size);
        } else {
            put_ends(sixteen_bytes{});
        }
    } else if (size >= 8) {
        put_ends(0ULL);
    } else if (size >= 4) {
        put_ends(0U);
    } else if (size != 0) {
        at[0] = text.front();
        at[size / 2] = text[size / 2];
        at[size - 1] = text.back();
    }
    return at + size;
}

}  // namespace kest
