#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "portable/large_pages.h"
#include "portable/seeded_map.h"

namespace uni {

// Values under 64-bit keys: filled first, then sealed and asked. Costs less than to sort by key.
template <class value>
class key_groups {
public:
    // `count` values are expected at most.
    void reserve(std::size_t count) { try_reserve(m_arrived, count); }
    void add(std::uint64_t key, const value& added) {
        const auto next = static_cast<std::uint32_t>(m_ends.size());
        const std::uint32_t group = m_groups.find_or_add(key, next);
        if (group == next) {
            m_ends.push_back(0);
            m_keys.push_back(key);
        }
        ++m_ends[group];
        m_arrived.push_back({group, added});
    }

    // Puts the values of each key in the order of `before`; equal ones stay in the order of arrival.
    template <class order>
    void seal(order&& before) {
        std::uint32_t begin = 0;
        for (std::uint32_t& end : m_ends) {
            const std::uint32_t count = end;
            end = begin;  // moves on as the group is filled
            begin += count;
        }
        m_values.resize(m_arrived.size());
        for (const arrival& one : m_arrived)
            m_values[m_ends[one.group]++] = one.held;
        m_arrived = {};
        for (std::uint32_t group = 0; group < m_ends.size(); ++group) {
            const std::span<value> values =
                std::span(m_values).subspan(begin_of(group), m_ends[group] - begin_of(group));
            if (!std::is_sorted(values.begin(), values.end(), before)) {
                std::stable_sort(values.begin(), values.end(), before);
            }
        }
    }

    // The values of a key; none for one that is not there.
    std::span<const value> find(std::uint64_t key) const {
        const std::uint32_t* const group = m_groups.find(key);
        if (group == nullptr) return {};
        return std::span(m_values).subspan(begin_of(*group), m_ends[*group] - begin_of(*group));
    }
    bool empty() const { return m_values.empty(); }

    // Calls `visit(key, values)` for each key, the values open to change.
    template <class visitor>
    void for_each(visitor&& visit) {
        for (std::uint32_t group = 0; group < m_ends.size(); ++group)
            visit(m_keys[group], std::span(m_values).subspan(begin_of(group), m_ends[group] - begin_of(group)));
    }

private:
    struct arrival {
        std::uint32_t group;
        value held;
    };

    std::uint32_t begin_of(std::uint32_t group) const { return group == 0 ? 0 : m_ends[group - 1]; }

    seeded_map<std::uint32_t> m_groups;  // by key
    std::vector<std::uint64_t> m_keys;   // of each group
    std::vector<std::uint32_t> m_ends;   // of each group: how many values there are, then where they end
    large_vector<arrival> m_arrived;
    large_vector<value> m_values;
};

}  // namespace uni
