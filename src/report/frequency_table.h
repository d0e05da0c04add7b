#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "portable/seeded_map.h"

namespace kest {

// How often each of many things was, by keys. All are counted; only the most frequent have a name, so that memory grows
// by a few bytes for each thing, however long its name is.
class frequency_table {
public:
    struct entry {
        std::uint64_t key = 0;
        std::uint64_t count = 0;
        std::string name;
    };

    explicit frequency_table(std::size_t most) : m_most(most) {}

    // A count grows by one at a time: what belongs to the most frequent comes in when it exceeds the least of them.
    void add(std::uint64_t key, std::string_view name) {
        const std::uint64_t count = ++m_counts[key];
        if (count == 1) ++m_distinct;
        const auto known = std::ranges::find(m_top, key, &entry::key);
        if (known != m_top.end()) {
            known->count = count;
        } else if (m_top.size() < m_most) {
            m_top.push_back({key, count, std::string(name)});
        } else if (const auto least = std::ranges::min_element(m_top, {}, &entry::count); count > least->count) {
            *least = {key, count, std::string(name)};
        }
    }

    std::uint64_t distinct() const { return m_distinct; }

    // By count, then by name and key; equally frequent ones may be left out.
    std::vector<entry> most_frequent() const {
        std::vector<entry> sorted = m_top;
        std::ranges::sort(sorted, [](const entry& a, const entry& b) {
            return a.count != b.count ? a.count > b.count : a.name != b.name ? a.name < b.name : a.key < b.key;
        });
        return sorted;
    }

private:
    const std::size_t m_most;
    uni::seeded_map<std::uint64_t> m_counts;
    std::uint64_t m_distinct = 0;
    std::vector<entry> m_top;
};

}  // namespace kest
