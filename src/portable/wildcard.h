#pragma once

#include <cstddef>
#include <string_view>

namespace uni {

// Holds a text against a pattern: "*" stands for any characters, "?" for one. A failed match goes back to the last "*"
// only, which then takes one character more: no pattern takes longer than its length times that of the text.
inline bool matches_pattern(std::string_view text, std::string_view pattern) {
    std::size_t at = 0, in_pattern = 0, after_star = pattern.npos, taken_up_to = 0;
    while (at < text.size()) {
        if (in_pattern < pattern.size() && pattern[in_pattern] == '*') {
            after_star = ++in_pattern;
            taken_up_to = at;
        } else if (in_pattern < pattern.size() && (pattern[in_pattern] == '?' || pattern[in_pattern] == text[at])) {
            ++in_pattern;
            ++at;
        } else if (after_star != pattern.npos) {
            in_pattern = after_star;
            at = ++taken_up_to;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', in_pattern) == pattern.npos;
}

}  // namespace uni
