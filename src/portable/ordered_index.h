#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "portable/large_pages.h"
#include "portable/radix_sort.h"
#include "portable/seeded_map.h"

namespace uni {

// One element of an index: a key, and a position in the vector that the index is about.
template <class key_type>
struct basic_index_entry {
    key_type key;
    std::uint32_t position;
};
using index_entry = basic_index_entry<std::uint64_t>;

constexpr bool key_before(const index_entry& a, const index_entry& b) {
    return a.key < b.key;
}

// Index of the first element of `entries`, sorted by a key of theirs, whose key is not below `key`. Searches outwards
// from `near`: cheap when one key asked for lies close to the next.
template <class list, class key_type, class projection>
std::size_t lower_bound_near(const list& entries, key_type key, std::size_t near, projection key_of) {
    const auto key_at = [&](std::size_t at) { return std::invoke(key_of, entries[at]); };
    std::size_t low = std::min(near, entries.size());
    std::size_t high = low;
    for (std::size_t step = 1; low > 0 && key_at(low - 1) >= key; step *= 2) {
        high = low;
        low -= std::min(low, step);
    }
    for (std::size_t step = 1; high < entries.size() && key_at(high) < key; step *= 2) {
        low = high;
        high = std::min(entries.size(), high + step);
    }
    const auto begin = entries.begin();
    const auto found = std::ranges::lower_bound(begin + static_cast<std::ptrdiff_t>(low),
                                                begin + static_cast<std::ptrdiff_t>(high), key, {}, key_of);
    return static_cast<std::size_t>(found - begin);
}

// Puts entries in ascending key order, equal keys in the order of arrival.
template <class keyed>
void seal_by_key(large_vector<keyed>& entries) {
    radix_sort(entries, [](const keyed& entry) { return entry.key; });
}

// Also drops all but the first arrival of each key.
template <class keyed>
void seal_unique_by_key(large_vector<keyed>& entries) {
    seal_by_key(entries);
    const auto same_key = [](const keyed& a, const keyed& b) { return a.key == b.key; };
    entries.erase(std::unique(entries.begin(), entries.end(), same_key), entries.end());
}

// An index that is filled first and asked later: additions are appended, and `seal` puts them in ascending key
// order, equal keys in the order of arrival. Whoever asks must have sealed it.
template <class key_type>
class basic_sealed_index {
public:
    using entry = basic_index_entry<key_type>;

    void reserve(std::size_t count) { m_entries.reserve(count); }
    void add(key_type key, std::uint32_t position) { m_entries.push_back({key, position}); }
    void clear() { m_entries.clear(); }
    bool empty() const { return m_entries.empty(); }
    std::size_t size() const { return m_entries.size(); }

    void seal() { seal_by_key(m_entries); }
    void seal_unique() { seal_unique_by_key(m_entries); }

    const large_vector<entry>& entries() const { return m_entries; }

    // Index of the first element whose key is not below `key`.
    std::size_t lower_bound(key_type key) const {
        return static_cast<std::size_t>(std::ranges::lower_bound(m_entries, key, {}, &entry::key) - m_entries.begin());
    }
    std::optional<std::uint32_t> find(key_type key) const {
        const std::size_t at = lower_bound(key);
        if (at == m_entries.size() || m_entries[at].key != key) return std::nullopt;
        return m_entries[at].position;
    }

    // The element of `key`, or null. `near` is where the search begins, and is left where it ended.
    const entry* find_near(key_type key, std::size_t& near) const {
        near = lower_bound_near(m_entries, key, near, &entry::key);
        return near < m_entries.size() && m_entries[near].key == key ? &m_entries[near] : nullptr;
    }

private:
    large_vector<entry> m_entries;
};
using sealed_index = basic_sealed_index<std::uint64_t>;

// An index that can be asked at any time, by several threads while nothing is added. Keys that arrive in ascending
// order, as record numbers do, cost no more than a vector; the others, strays, are found by a hash. Equal keys are kept
// in order of arrival.
class ordered_index {
public:
    void clear() {
        m_run.clear();
        m_strays.clear();
        m_first_strays.clear();
    }
    bool empty() const { return m_run.empty(); }  // the first key always joins the run
    std::size_t size() const { return m_run.size() + m_strays.size(); }

    // The element that arrived first for `key`, or null. Valid until the next addition.
    const std::uint32_t* find(std::uint64_t key) const {
        const std::atomic_ref<std::size_t> last(m_near);
        const std::size_t at = lower_bound_near(m_run, key, last.load(std::memory_order_relaxed), &index_entry::key);
        last.store(at, std::memory_order_relaxed);
        if (at < m_run.size() && m_run[at].key == key) return &m_run[at].position;
        const std::uint32_t* const stray = m_first_strays.find(key);
        return stray != nullptr ? &m_strays[*stray].position : nullptr;
    }
    std::uint32_t* find(std::uint64_t key) {
        return const_cast<std::uint32_t*>(static_cast<const ordered_index&>(*this).find(key));
    }

    // Adds also where the key is there already.
    void add(std::uint64_t key, std::uint32_t position) {
        if (m_run.empty() || m_run.back().key <= key) {
            m_run.push_back({key, position});
            return;
        }
        m_strays.push_back({key, position});
        try {
            m_first_strays.find_or_add(key, static_cast<std::uint32_t>(m_strays.size() - 1));
        } catch (...) {  // what asks for an index that is there must find it
            m_strays.pop_back();
            throw;
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
        large_vector<index_entry> strays = m_strays;
        std::stable_sort(strays.begin(), strays.end(), key_before);
        auto stray = strays.cbegin();
        for (const index_entry& entry : m_run) {
            for (; stray != strays.cend() && stray->key < entry.key; ++stray)
                visit(stray->key, stray->position);
            visit(entry.key, entry.position);
        }
        for (; stray != strays.cend(); ++stray)
            visit(stray->key, stray->position);
    }

private:
    large_vector<index_entry> m_run;
    large_vector<index_entry> m_strays;        // as they arrived
    seeded_map<std::uint32_t> m_first_strays;  // of each key, its index in `m_strays`
    mutable std::size_t m_near = 0;  // where the last search in `m_run` ended: the rows of a chain ask for one file
};

}  // namespace uni
