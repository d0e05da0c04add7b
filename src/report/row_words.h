#pragma once

#include <string>
#include <string_view>

#include "transactions/walk.h"

namespace kest {

// What a row says in words, in whatever shape.

inline constexpr std::string_view mft_level = "mft";
std::string_view level_word(const step& shown, const transaction& of);
// Empty for what has none.
std::string_view ref_word(const step& shown, const transaction& of);
// The operation codes of the whole transaction for a head, its own for a member.
void append_pattern(std::string& out, const step& shown, const transaction& of);
// Appends nothing if neither path nor name is known.
void append_path(std::string& out, const file_match& match);
bool path_is_guess(const file_match& match);

// The journal's words for what happened, or else the operation's. The last are kept, as all rows of a transaction show
// the same.
class action_words {
public:
    std::string_view of(const step& shown, const transaction& whole);
    std::string_view of(std::uint32_t reason);

private:
    std::uint32_t m_reason = 0;
    std::string m_text;  // of `m_reason`; none for 0
};

}  // namespace kest
