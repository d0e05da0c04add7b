#pragma once

#include <span>
#include <vector>

#include "events/told_log.h"
#include "mft/record_view.h"

namespace kest {

// A name that a transaction gave a file or took from it.
struct link_change {
    const told_fact* fact = nullptr;  // the record that shows it: that of the index entry if there is one
    file_name_view name;
    bool by_attribute = false;  // the file record's own name attribute says so too
};

// What a transaction did to the names of one file, in the order of its steps. A name that went and came again, as when
// the index tree is rebuilt, counts for nothing.
struct link_changes {
    std::vector<link_change> came;  // without DOS names
    std::vector<link_change> went;
    std::vector<link_change> dos_came;
    std::vector<link_change> dos_went;

    // The first, a long name if there is one; null for none.
    const link_change* first_came() const { return first_of(came, dos_came); }
    const link_change* first_went() const { return first_of(went, dos_went); }

private:
    static const link_change* first_of(const std::vector<link_change>& names, const std::vector<link_change>& dos) {
        return !names.empty() ? &names.front() : !dos.empty() ? &dos.front() : nullptr;
    }
};

// `facts` are those of one transaction on one file.
void find_link_changes(link_changes& out, std::span<const told_fact* const> facts);

}  // namespace kest
