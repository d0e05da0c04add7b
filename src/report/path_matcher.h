#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kest {

// Says which paths match some pattern, or lie below one that does, or are streams of one. All patterns are held against
// a path at once, one character after another: the time goes by the length of the path, and by that of all patterns by
// 64. Files of few folders come together as a rule: what the paths of the last ones leave of the patterns is kept.
class path_matcher {
public:
    // As in `event_criteria`.
    explicit path_matcher(const std::vector<std::u32string>& patterns);

    bool matches(std::string_view path);

private:
    using bits = std::vector<std::uint64_t>;

    // A bit for each beginning of each pattern: whether the text up to here may be it.
    struct progress {
        bits reached;
        bool matched = false;  // an end, before a separator
    };
    struct folder_entry {
        std::string path;  // with the separator
        progress after;
    };

    void add(const std::u32string& pattern);
    std::size_t row_of(char32_t character) const;
    void advance(progress& now, std::string_view text) const;
    bool at_end(const progress& now) const;
    const progress& after_folder(std::string_view folder);

    static constexpr std::size_t most_folders = 8;

    std::size_t m_length = 0;  // bits in use
    progress m_start;
    bits m_stars;  // beginnings that stay, whatever follows
    bits m_ends;   // whole patterns
    std::u32string m_characters;
    std::vector<bits> m_moves;  // for each of these, and first for all others: which beginnings it makes longer
    std::array<std::size_t, 128> m_ascii_rows{};
    std::vector<folder_entry> m_folders;  // the last one first
};

}  // namespace kest
