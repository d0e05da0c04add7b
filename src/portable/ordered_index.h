#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace uni {

// One element of an index: a key, and a position in the vector that the index is about.
struct index_entry {
    std::uint64_t key;
    std::uint32_t position;
};

// An index that is filled first and asked later: additions are appended, and `seal` puts them in ascending key
// order, equal keys in order of arrival. Whoever asks must have sealed it.
class sealed_index {
public:
    void reserve(std::size_t count) { m_entries.reserve(count); }
    void add(std::uint64_t key, std::uint32_t position) { m_entries.push_back({key, position}); }
    void clear() { m_entries.clear(); }
    bool empty() const { return m_entries.empty(); }
    std::size_t size() const { return m_entries.size(); }

    void seal() {
        if (!std::is_sorted(m_entries.begin(), m_entries.end(), before)) {
            std::stable_sort(m_entries.begin(), m_entries.end(), before);
        }
    }
    // Also drops all but the first arrival of each key.
    void seal_unique() {
        seal();
        const auto same = [](const index_entry& a, const index_entry& b) { return a.key == b.key; };
        m_entries.erase(std::unique(m_entries.begin(), m_entries.end(), same), m_entries.end());
    }

    const std::vector<index_entry>& entries() const { return m_entries; }

    // Place of the first element whose key is not below `key`.
    std::size_t lower_bound(std::uint64_t key) const {
        const auto found = std::lower_bound(m_entries.begin(), m_entries.end(), index_entry{key, 0}, before);
        return static_cast<std::size_t>(found - m_entries.begin());
    }
    std::optional<std::uint32_t> find(std::uint64_t key) const {
        const std::size_t at = lower_bound(key);
        if (at == m_entries.size() || m_entries[at].key != key) return std::nullopt;
        return m_entries[at].position;
    }

    // The element of `key`, or null. Searches outwards from `near`, which is left where the search ended: cheap
    // when one key asked for lies close to the next.
    const index_entry* find_near(std::uint64_t key, std::size_t& near) const {
        near = std::min(near, m_entries.size());
        std::size_t low = near;
        std::size_t high = near;
        for (std::size_t step = 1; low > 0 && m_entries[low - 1].key >= key; step *= 2) {
            high = low;
            low -= std::min(low, step);
        }
        for (std::size_t step = 1; high < m_entries.size() && m_entries[high].key < key; step *= 2) {
            low = high;
            high = std::min(m_entries.size(), high + step);
        }
        const auto begin = m_entries.begin();
        const auto found = std::lower_bound(begin + static_cast<std::ptrdiff_t>(low),
                                            begin + static_cast<std::ptrdiff_t>(high), index_entry{key, 0}, before);
        near = static_cast<std::size_t>(found - begin);
        return near < m_entries.size() && found->key == key ? &*found : nullptr;
    }

private:
    static bool before(const index_entry& a, const index_entry& b) { return a.key < b.key; }

    std::vector<index_entry> m_entries;
};

// An index that can be asked at any time. Keys that arrive in ascending order, as record numbers do, cost no
// more than a vector; the others go to a tree. Equal keys are kept in order of arrival.
class ordered_index {
public:
    void clear() {
        m_run.clear();
        m_strays.clear();
    }
    bool empty() const { return m_run.empty(); }  // the first key always joins the run
    std::size_t size() const { return m_run.size() + m_strays.size(); }

    // The element that arrived first for `key`, or null. Valid until the next addition.
    const std::uint32_t* find(std::uint64_t key) const {
        const auto found = std::lower_bound(m_run.begin(), m_run.end(), key, before);
        if (found != m_run.end() && found->key == key) return &found->position;
        const auto stray = m_strays.lower_bound(key);
        return stray != m_strays.end() && stray->first == key ? &stray->second : nullptr;
    }
    std::uint32_t* find(std::uint64_t key) {
        return const_cast<std::uint32_t*>(static_cast<const ordered_index&>(*this).find(key));
    }

    // Adds also where the key is there already.
    void add(std::uint64_t key, std::uint32_t position) {
        if (m_run.empty() || m_run.back().key <= key) {
            m_run.push_back({key, position});
        } else {
            m_strays.emplace(key, position);
        }
    }
    // Adds unless the key is there already; says whether it added.
    bool add_unique(std::uint64_t key, std::uint32_t position) {
        const bool newest = m_run.empty() || m_run.back().key < key;
        if (!newest && find(key) != nullptr) return false;
        add(key, position);
        return true;
    }

    // Calls `visit(key, position)` in ascending key order.
    template <class visitor>
    void for_each(visitor&& visit) const {
        auto stray = m_strays.begin();
        for (const index_entry& entry : m_run) {
            for (; stray != m_strays.end() && stray->first < entry.key; ++stray)
                visit(stray->first, stray->second);
            visit(entry.key, entry.position);
        }
        for (; stray != m_strays.end(); ++stray)
            visit(stray->first, stray->second);
    }

private:
    static bool before(const index_entry& entry, std::uint64_t key) { return entry.key < key; }

    std::vector<index_entry> m_run;
    std::multimap<std::uint64_t, std::uint32_t> m_strays;
};

}  // namespace uni
