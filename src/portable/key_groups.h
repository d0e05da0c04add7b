#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "portable/large_pages.h"
#include "portable/seeded_map.h"

namespace uni {

// Values under 64-bit keys: filled first, then sealed and asked. Costs less than to sort by key.
template <class value>
class key_groups {
public:
    // `count` values are expected at most.
    void reserve(std::size_t count) {
        try_reserve(m_values, count);
        try_reserve(m_places, count);
    }
    void add(std::uint64_t key, const value& added) {
        const auto next = static_cast<std::uint32_t>(m_ends.size());
        const std::uint32_t group = m_groups.find_or_add(key, next);
        if (group == next) {
            m_ends.push_back(0);
            m_keys.push_back(key);
        }
        ++m_ends[group];
        m_places.push_back(group);
        m_values.push_back(added);
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
        for (std::uint32_t& place : m_places)
            place = m_ends[place]++;
        for (std::uint32_t at = 0; at < m_places.size(); ++at) {
            for (std::uint32_t to = m_places[at]; to != at; to = m_places[at]) {
                std::swap(m_values[at], m_values[to]);
                std::swap(m_places[at], m_places[to]);
            }
        }
        m_places = large_vector<std::uint32_t>();
        for (std::uint32_t group = 0; group < m_ends.size(); ++group) {
            const std::span<value> values =
                std::span(m_values).subspan(begin_of(group), m_ends[group] - begin_of(group));
            if (!std::is_sorted(values.begin(), values.end(), before)) {
                std::stable_sort(values.begin(), values.end(), before);
            }
        }
    }

    // Takes out each value that `repeats(value, earlier)` the one that is left before it.
    template <class test>
    void take_out(test&& repeats) {
        std::uint32_t kept = 0;
        std::uint32_t at = 0;
        for (std::uint32_t& end : m_ends) {
            for (const std::uint32_t begin = kept; at != end; ++at) {
                if (kept == begin || !repeats(m_values[at], m_values[kept - 1])) m_values[kept++] = m_values[at];
            }
            end = kept;
        }
        m_values.resize(kept);
        m_values.shrink_to_fit();
    }

    // The values of a key; none for one that is not there.
    std::span<const value> find(std::uint64_t key) const {
        const std::uint32_t* const group = m_groups.find(key);
        if (group == nullptr) return {};
        return std::span(m_values).subspan(begin_of(*group), m_ends[*group] - begin_of(*group));
    }
    std::size_t size() const { return m_values.size(); }

    // Calls `visit(key, values)` for each key, the values open to change.
    template <class visitor>
    void for_each(visitor&& visit) {
        for (std::uint32_t group = 0; group < m_ends.size(); ++group)
            visit(m_keys[group], std::span(m_values).subspan(begin_of(group), m_ends[group] - begin_of(group)));
    }

private:
    std::uint32_t begin_of(std::uint32_t group) const { return group == 0 ? 0 : m_ends[group - 1]; }

    seeded_map<std::uint32_t> m_groups;    // by key
    std::vector<std::uint64_t> m_keys;     // of each group
    std::vector<std::uint32_t> m_ends;     // of each group: how many values there are, then where they end
    large_vector<std::uint32_t> m_places;  // until they are sealed: the group of each value, then where it belongs
    large_vector<value> m_values;
};

}  // namespace uni
