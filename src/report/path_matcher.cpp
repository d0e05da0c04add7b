#include "report/path_matcher.h"

#include <algorithm>

#include "portable/unicode.h"

namespace kest {

namespace {

constexpr std::size_t word_bits = 64;

void set_bit(std::vector<std::uint64_t>& bits, std::size_t at) {
    bits[at / word_bits] |= std::uint64_t{1} << at % word_bits;
}

}  // namespace

path_matcher::path_matcher(const std::vector<std::u32string>& patterns) {
    for (const std::u32string& pattern : patterns)
        m_characters += pattern;
    m_length = m_characters.size() + patterns.size();
    std::ranges::sort(m_characters);
    m_characters.erase(std::unique(m_characters.begin(), m_characters.end()), m_characters.end());
    const bits none((m_length + word_bits - 1) / word_bits);
    m_start.reached = m_stars = m_ends = none;
    m_moves.assign(m_characters.size() + 1, none);
    for (char32_t character = 0; character < m_ascii_rows.size(); ++character)
        m_ascii_rows[character] = row_of(uni::fold_case(character));
    m_length = 0;
    for (const std::u32string& pattern : patterns)
        add(pattern);
}

void path_matcher::add(const std::u32string& pattern) {
    set_bit(m_start.reached, m_length);
    for (const char32_t character : pattern) {
        if (character == '*') {
            set_bit(m_stars, m_length);
            continue;
        }
        if (character == '?') {
            for (bits& moves : m_moves)
                set_bit(moves, m_length);
        } else {
            set_bit(m_moves[row_of(character)], m_length);
        }
        ++m_length;
    }
    set_bit(m_ends, m_length++);
}

std::size_t path_matcher::row_of(char32_t character) const {
    const auto found = std::ranges::lower_bound(m_characters, character);
    const bool is_there = found != m_characters.end() && *found == character;
    return is_there ? static_cast<std::size_t>(found - m_characters.begin()) + 1 : 0;
}

bool path_matcher::at_end(const progress& now) const {
    for (std::size_t word = 0; word < m_ends.size(); ++word)
        if ((now.reached[word] & m_ends[word]) != 0) return true;
    return false;
}

void path_matcher::advance(progress& now, std::string_view text) const {
    while (!text.empty() && !now.matched) {
        const char first = text.front();
        if ((first == '\\' || first == ':') && at_end(now)) now.matched = true;
        std::size_t row = 0;
        if (static_cast<unsigned char>(first) < m_ascii_rows.size()) {
            row = m_ascii_rows[static_cast<unsigned char>(first)];
            text.remove_prefix(1);
        } else {
            row = row_of(uni::take_folded(text));
        }
        const bits& moves = m_moves[row];
        std::uint64_t carried = 0, left = 0;
        for (std::size_t word = 0; word < moves.size(); ++word) {
            const std::uint64_t reached = now.reached[word], moved = reached & moves[word];
            now.reached[word] = moved << 1 | carried | (reached & m_stars[word]);
            carried = moved >> (word_bits - 1);
            left |= now.reached[word];
        }
        if (left == 0) return;
    }
}

const path_matcher::progress& path_matcher::after_folder(std::string_view folder) {
    auto found = std::ranges::find(m_folders, folder, &folder_entry::path);
    if (found == m_folders.end()) {
        if (m_folders.size() < most_folders) m_folders.emplace_back();
        found = m_folders.end() - 1;
        found->path = folder;
        found->after = m_start;
        advance(found->after, folder);
    }
    std::rotate(m_folders.begin(), found, found + 1);
    return m_folders.front().after;
}

bool path_matcher::matches(std::string_view path) {
    // As patterns have it: from the root on, or from what is known of it.
    constexpr std::string_view root = "[root]";
    if (path.starts_with(root)) path.remove_prefix(root.size());
    if (path.empty() || m_ends.empty()) return false;
    const std::size_t name = path.rfind('\\') + 1;  // no folder: npos + 1 is 0
    progress now = after_folder(path.substr(0, name));
    advance(now, path.substr(name));
    return now.matched || at_end(now);
}

}  // namespace kest
