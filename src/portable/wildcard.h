#pragma once

#include <cstddef>
#include <string_view>

namespace uni {

// Holds a text against a pattern: "*" stands for any characters, "?" for one. A failed match goes back to the last "*"
// only, which then takes one character more: no pattern takes longer than its length times that of the text. Texts that
// begin alike can go on from a copy of what their beginning left.
template <class character>
class pattern_walk {
public:
    using view = std::basic_string_view<character>;

    explicit pattern_walk(view pattern) : m_pattern(pattern) {}

    // Goes on to the end of a text that begins with what it has seen.
    void advance(view text) {
        while (m_at < text.size() && !m_failed) {
            if (m_in_pattern < m_pattern.size() && m_pattern[m_in_pattern] == '*') {
                m_after_star = ++m_in_pattern;
                m_taken_up_to = m_at;
            } else if (m_in_pattern < m_pattern.size() &&
                       (m_pattern[m_in_pattern] == '?' || m_pattern[m_in_pattern] == text[m_at])) {
                ++m_in_pattern;
                ++m_at;
            } else if (m_after_star != view::npos) {
                m_in_pattern = m_after_star;
                m_at = ++m_taken_up_to;
            } else {
                m_failed = true;
            }
        }
    }
    // Whether what it has seen is a match.
    bool matches() const { return !m_failed && m_pattern.find_first_not_of('*', m_in_pattern) == view::npos; }

private:
    view m_pattern;
    std::size_t m_at = 0;
    std::size_t m_in_pattern = 0;
    std::size_t m_after_star = view::npos;
    std::size_t m_taken_up_to = 0;
    bool m_failed = false;
};

template <class character>
bool matches_pattern(std::basic_string_view<character> text, std::basic_string_view<character> pattern) {
    pattern_walk<character> walk(pattern);
    walk.advance(text);
    return walk.matches();
}

}  // namespace uni
