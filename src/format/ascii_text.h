#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kest {

// Letters are folded as ASCII, whatever the locale; other bytes stay.
std::string lower_case(std::string_view text);
bool equal_folded(std::string_view a, std::string_view b);

// The pieces of `text` between any of the characters of `separators`; empty ones are dropped. They show `text`.
std::vector<std::string_view> split(std::string_view text, std::string_view separators);

// The text between the blanks that it may begin and end with.
std::string_view without_blanks(std::string_view text);

}  // namespace kest
