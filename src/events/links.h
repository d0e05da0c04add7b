#pragma once

#include <span>
#include <vector>

#include "events/file_changes.h"

namespace kest {

// A name that a transaction gave a file or took from it.
struct link_change {
    std::uint32_t proof = 0;  // position of the record that shows it: that of the index entry if there is one
    file_name_view name;
    bool in_index = false;      // an index entry says so
    bool by_attribute = false;  // the file record's own name attribute says so
    bool copied = false;        // the name is known by the MFT copy only
};

// What a transaction did to the names of one file, in the order of its steps. A name that went and came again, as when
// the index tree is rebuilt, counts for nothing.
struct link_changes {
    std::vector<link_change> came;  // without DOS names
    std::vector<link_change> went;
    std::vector<link_change> dos_came;
    std::vector<link_change> dos_went;

    // The first, a long name if there is one; null for none.
    const link_change* first_went() const {
        return !went.empty() ? &went.front() : !dos_went.empty() ? &dos_went.front() : nullptr;
    }
    // Likewise of those that came, if an index entry says so.
    const link_change* first_entry() const {
        for (const auto* const list : {&came, &dos_came}) {
            for (const link_change& link : *list) {
                if (link.in_index) return &link;
            }
        }
        return nullptr;
    }
};

void find_link_changes(link_changes& out, const log_store& log, std::span<const event_fact* const> facts,
                       std::span<const joined_change> attributes);

}  // namespace kest
