#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>

namespace uni {

// Sorts by a key without sign, by the digits in which keys differ, from the lowest on; equal values stay in their
// order. Costs less than to compare them.
template <class values, class projection>
void radix_sort(values& all, projection key) {
    constexpr unsigned digit_bits = 11;
    constexpr std::size_t digits = std::size_t{1} << digit_bits;
    if (std::ranges::is_sorted(all, {}, key)) return;
    const std::uint64_t first = key(all.front());
    std::uint64_t differing = 0;
    for (const auto& one : all)
        differing |= std::uint64_t{key(one)} ^ first;
    values sorted(all.size());
    for (unsigned shift = 0; shift < 64; shift += digit_bits) {
        if ((differing >> shift & (digits - 1)) == 0) continue;
        const auto digit_of = [&](const auto& one) { return std::uint64_t{key(one)} >> shift & (digits - 1); };
        std::array<std::size_t, digits> next{};  // where the next value of each digit goes
        for (const auto& one : all)
            ++next[digit_of(one)];
        std::exclusive_scan(next.begin(), next.end(), next.begin(), std::size_t{0});
        for (const auto& one : all)
            sorted[next[digit_of(one)]++] = one;
        all.swap(sorted);
    }
}

}  // namespace uni
