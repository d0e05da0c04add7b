#include "options/environment.h"

#include <cstdlib>

namespace kest {

namespace {

constexpr std::size_t longest_text = 512;  // bytes

}  // namespace

std::string expand_environment(std::string_view text) {
    if (text.size() > longest_text) return std::string(text);
    std::string expanded;
    while (!text.empty()) {
        const std::size_t open = text.find('%');
        const std::size_t close = open == text.npos ? text.npos : text.find('%', open + 1);
        if (close == text.npos) break;
        const std::string name(text.substr(open + 1, close - open - 1));
        const char* const value = std::getenv(name.c_str());
        if (value != nullptr) {
            expanded.append(text.substr(0, open)).append(value);
        } else {
            expanded.append(text.substr(0, close + 1));
        }
        text.remove_prefix(close + 1);
    }
    return expanded.append(text);
}

}  // namespace kest
