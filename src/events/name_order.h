#pragma once

#include <algorithm>
#include <compare>

#include "mft/record_view.h"

namespace kest {

inline std::strong_ordering compare_bytes(uni::byte_view a, uni::byte_view b) {
    const auto [left, right] = std::ranges::mismatch(a.bytes(), b.bytes());
    if (left == a.bytes().end() || right == b.bytes().end()) return a.size() <=> b.size();
    return *left <=> *right;
}

// An order over links, that is folder and name; the name space does not count, as a link may change it.
inline std::strong_ordering compare_links(const file_name_view& a, const file_name_view& b) {
    if (const auto order = a.parent().value() <=> b.parent().value(); order != 0) return order;
    return compare_bytes(a.name(), b.name());
}

}  // namespace kest
