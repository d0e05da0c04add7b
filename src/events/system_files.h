#pragma once

#include <cstdint>
#include <string_view>

namespace kest {

inline constexpr std::uint64_t root_number = 5;
inline constexpr std::uint64_t extend_number = 11;
inline constexpr std::string_view root_path = "[root]\\";

// What the file system keeps for itself. The root is among those numbers, and not of them.
constexpr bool is_system_file(std::uint64_t number) {
    constexpr std::uint64_t first_user_file = 24;
    return number < first_user_file && number != root_number;
}

}  // namespace kest
