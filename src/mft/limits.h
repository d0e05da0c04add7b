#pragma once

#include <algorithm>
#include <cstdint>

#include "portable/seeded_map.h"

namespace kest {

// What of an MFT, or of what a log states of files, was left out since evidence made to do harm could ask for any
// amount of it.
struct limits_hit {
    bool paths = false;              // the folder has a mark in place of all that lies above it
    bool extension_records = false;  // not read
    bool index_runs = false;         // of folders; not searched for the owner of a cluster
    bool parents = false;            // of a file with more than are kept
    bool attribute_lists = false;    // not read to their ends
    bool contents = false;           // more than one run writes
    bool changes = false;            // of file records; too many to be kept
    bool files = false;              // that only the log knows of; not remembered for its later rows
    bool clusters = false;           // of files: not shown, or whether they are free at the end is not
    bool extended_attributes = false;
};

// What may be spent on evidence: by each record its own share, and beyond that by all together what is shared. So what
// some records ask for beyond measure takes from no other record its share.
class budget {
public:
    budget(std::uint64_t share, std::uint64_t common) : m_share(share), m_common(common) {}

    void begin_record() { m_own = m_share; }
    void add_common(std::uint64_t amount) { m_common += amount; }

    bool covers(std::uint64_t amount) const { return amount <= m_own || amount - m_own <= m_common; }

    // All of `amount`, or nothing and false.
    [[nodiscard]] bool spend(std::uint64_t amount) {
        if (!covers(amount)) return false;
        const std::uint64_t own = amount < m_own ? amount : m_own;
        m_own -= own;
        m_common -= amount - own;
        return true;
    }

private:
    std::uint64_t m_share;
    std::uint64_t m_common;
    std::uint64_t m_own = 0;
};

// The same of files to which records come back again and again: each has its share once.
class budget_by_file {
public:
    explicit budget_by_file(std::uint64_t share, std::uint64_t common) : m_share(share), m_common(common) {}

    // All of `amount`, or nothing and false.
    [[nodiscard]] bool spend(std::uint64_t file, std::uint64_t amount) {
        std::uint64_t& spent = m_spent[file];
        const std::uint64_t own = std::min(amount, m_share - spent);
        if (amount - own > m_common) return false;
        spent += own;
        m_common -= amount - own;
        return true;
    }

private:
    const std::uint64_t m_share;
    std::uint64_t m_common;
    uni::seeded_map<std::uint64_t> m_spent;  // of its share, by file
};

}  // namespace kest
