#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace kest {

struct flag_word {
    std::uint32_t bits;
    std::string_view word;
};

// Appends the word of every row whose bit is set in `value`, in the order of the table, with `joint` between
// two words. Returns whether a word was appended.
inline bool append_flag_words(std::string& out, std::uint32_t value, std::span<const flag_word> words,
                              std::string_view joint) {
    bool any = false;
    for (const flag_word& row : words) {
        if ((value & row.bits) == 0) continue;
        if (any) out += joint;
        out += row.word;
        any = true;
    }
    return any;
}

}  // namespace kest
