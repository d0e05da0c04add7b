#pragma once

#include <algorithm>
#include <compare>

#include "mft/record_view.h"

namespace kest {

// An order over links, that is folder and name; the name space does not count, as a link may change it.
inline std::strong_ordering compare_links(const file_name_view& a, const file_name_view& b) {
    if (const auto order = a.parent().value() <=> b.parent().value(); order != 0) return order;
    const auto left = a.name().bytes();
    const auto right = b.name().bytes();
    return std::lexicographical_compare_three_way(left.begin(), left.end(), right.begin(), right.end());
}

}  // namespace kest
