#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace uni {

// A hash table from 64-bit keys to values. Its hash is seeded anew in every process, so that no
// input can be prepared to make its look-ups slow; it has no order to betray the seed.
template <class value>
class seeded_map {
public:
    void clear() {
        m_slots.clear();
        m_used = 0;
    }
    bool empty() const { return m_used == 0; }

    // The value of `key`, or null. Valid until the next addition.
    const value* find(std::uint64_t key) const {
        if (m_slots.empty()) return nullptr;
        const slot& s = m_slots[slot_of(key)];
        return s.used ? &s.held : nullptr;
    }

    // The value of `key`, which becomes `added` if there was none.
    value& find_or_add(std::uint64_t key, value added) {
        if (4 * (m_used + 1) > 3 * m_slots.size()) grow();
        slot& s = m_slots[slot_of(key)];
        if (!s.used) {
            s = {key, std::move(added), true};
            ++m_used;
        }
        return s.held;
    }
    value& operator[](std::uint64_t key) { return find_or_add(key, {}); }

    // What comes after it in the same run of slots moves up, so that no gap hides it.
    void erase(std::uint64_t key) {
        if (m_slots.empty()) return;
        const std::size_t mask = m_slots.size() - 1;
        std::size_t gap = slot_of(key);
        if (!m_slots[gap].used) return;
        for (std::size_t at = (gap + 1) & mask; m_slots[at].used; at = (at + 1) & mask) {
            const std::size_t home = static_cast<std::size_t>(mixed(m_slots[at].key)) & mask;
            if (((at - home) & mask) < ((at - gap) & mask)) continue;
            m_slots[gap] = std::move(m_slots[at]);
            gap = at;
        }
        m_slots[gap] = {};
        --m_used;
    }

private:
    struct slot {
        std::uint64_t key = 0;
        value held{};
        bool used = false;
    };

    // The slot that holds `key`, or the free one where it would go. One slot in four is free, so this ends.
    std::size_t slot_of(std::uint64_t key) const {
        const std::size_t mask = m_slots.size() - 1;
        std::size_t at = static_cast<std::size_t>(mixed(key)) & mask;
        while (m_slots[at].used && m_slots[at].key != key)
            at = (at + 1) & mask;
        return at;
    }

    void grow() {
        std::vector<slot> old(m_slots.empty() ? 64 : 2 * m_slots.size());
        old.swap(m_slots);
        for (slot& s : old) {
            if (s.used) m_slots[slot_of(s.key)] = std::move(s);
        }
    }

    // Two rounds of multiply and fold around the seed.
    static std::uint64_t mixed(std::uint64_t key) {
        static const std::uint64_t seed =
            static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
        key = (key ^ seed) * 0x9E37'79B9'7F4A'7C15;
        key = (key ^ (key >> 32) ^ seed) * 0xD6E8'FEB8'6659'FD93;
        return key ^ (key >> 32);
    }

    std::vector<slot> m_slots;
    std::size_t m_used = 0;
};

}  // namespace uni
