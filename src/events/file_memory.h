#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "events/standard_values.h"
#include "events/told_log.h"
#include "portable/seeded_map.h"

namespace kest {

// What kind of attribute lies at some place in a file record.
struct attribute_key {
    std::uint32_t type = 0;
    uni::byte_view name;  // UTF-16
};

// What the transactions so far told of files and file records. Undone facts count for nothing.
class file_memory {
public:
    // Learns from the transaction that comes next.
    void remember(std::span<const told_fact> facts);

    // Of the file's journal records since it was last closed.
    std::uint32_t reasons(inode_ref file) const { return value_or_zero(m_reasons, file.value()); }
    // The latest time that the file got when it was created; 0 if that is not in the log so far.
    std::uint64_t birth_time(inode_ref file) const { return value_or_zero(m_births, file.value()); }
    // Whether the last transaction on the file created it.
    bool just_created(inode_ref file) const;
    // Null if nothing is known.
    const standard_values* standard_information(inode_ref file) const;
    // Nothing if it is not known. `offset` in bytes in the file record.
    std::optional<attribute_key> attribute_at(std::uint64_t record, std::uint32_t offset) const;

private:
    struct attribute_place {
        std::uint32_t offset;
        attribute_key key;
    };
    struct last_touch {
        std::uint32_t transaction = 0;
        bool created = false;
    };

    template <class value>
    static value value_or_zero(const uni::seeded_map<value>& map, std::uint64_t key) {
        const value* const found = map.find(key);
        return found != nullptr ? *found : value{};
    }
    void remember_fact(const told_fact& fact);
    void remember_image(const told_fact& fact);
    void remember_attribute(const told_fact& fact);
    void remember_journal(const told_fact& fact);
    void touch(const told_fact& fact);
    standard_values& standard_of(inode_ref file);
    std::vector<attribute_place>& attributes_of(std::uint64_t record);

    std::uint32_t m_transaction = 0;
    uni::seeded_map<std::uint32_t> m_reasons;  // these four by file reference
    uni::seeded_map<std::uint64_t> m_births;
    uni::seeded_map<last_touch> m_touches;
    uni::seeded_map<std::uint32_t> m_standard_places;  // from 1
    std::vector<standard_values> m_standard;
    uni::seeded_map<std::uint32_t> m_attribute_places;       // by record number; from 1
    std::vector<std::vector<attribute_place>> m_attributes;  // of each record by offset
};

}  // namespace kest
