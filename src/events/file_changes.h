#pragma once

#include <span>
#include <vector>

#include "events/file_names.h"
#include "operations/log_facts.h"

namespace kest {

// The change of a file record, and the file that it is about: an extension record's is the base record's.
struct owned_change {
    inode_ref file;
    name_source owner = name_source::log;  // by what the file is known to be the one
    const record_change* record = nullptr;
    bool lost = false;  // the record is another file's after the change
};

// What one transaction did to one file: all that stands, or all that was rolled back.
struct file_changes {
    inode_ref file;
    const transaction_facts& transaction;
    std::span<const log_fact* const> facts;  // in the order of the steps
    std::span<const owned_change> records;
    bool rolled_back = false;
};

// An attribute of a file before and after, in whichever of its file records it lay.
struct joined_change {
    const attribute_change* before = nullptr;
    const attribute_change* after = nullptr;  // the same one, unless it moved to another file record

    explicit operator bool() const { return before != nullptr || after != nullptr; }
    const attribute_change& shown() const { return after != nullptr ? *after : *before; }
    std::optional<std::uint32_t> type() const { return shown().type(); }
    uni::byte_view name() const { return shown().name(); }
    std::uint32_t proof() const { return shown().proof; }
    const attribute_state& state_before() const { return before != nullptr ? before->before : absent; }
    const attribute_state& state_after() const { return after != nullptr ? after->after : absent; }
    bool added() const {
        return state_after().present == presence::present && state_before().present == presence::absent;
    }
    bool removed() const {
        return state_before().present == presence::present && state_after().present == presence::absent;
    }

private:
    static inline const attribute_state absent{.present = presence::absent};
};

// The attributes of which more is reported than that they are there. Those that moved between file records are one.
void join_attributes(std::vector<joined_change>& out, const file_history& history, const file_changes& changes);

// A name that a transaction gave a file or took from it.
struct link_change {
    std::uint32_t proof = 0;  // position of the record that shows it: that of the index entry if there is one
    file_name_view name;
    bool in_index = false;      // an index entry says so
    bool by_attribute = false;  // the file record's own name attribute says so
    bool copied = false;        // the name is known by the MFT copy only
};

// What a transaction did to the names of one file: long names, then DOS names, each in the order of the steps. A name
// that was removed and added again, as when the index tree is rebuilt, counts for nothing.
struct link_changes {
    std::vector<link_change> added;
    std::vector<link_change> removed;

    static std::span<const link_change> long_names(const std::vector<link_change>& links);
    const link_change* first_removed() const { return removed.empty() ? nullptr : &removed.front(); }
    // The first that was added by an index entry; null for none.
    const link_change* first_entry() const {
        const auto found = std::ranges::find_if(added, &link_change::in_index);
        return found != added.end() ? &*found : nullptr;
    }
};

void find_link_changes(link_changes& out, std::span<const log_fact* const> facts,
                       std::span<const joined_change> attributes);

// An order over links, that is folder and name; the name space does not count, as a link may change it.
std::strong_ordering compare_links(const file_name_view& a, const file_name_view& b);

}  // namespace kest
