#include "format/ascii_text.h"

#include <algorithm>

namespace kest {

namespace {

char folded(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

std::string lower_case(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), folded);
    return lower;
}

bool equal_folded(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, {}, folded, folded);
}

std::vector<std::string_view> split(std::string_view text, std::string_view separators) {
    std::vector<std::string_view> pieces;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find_first_of(separators, begin), text.size());
        if (end != begin) pieces.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return pieces;
}

std::string_view without_blanks(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

}  // namespace kest
