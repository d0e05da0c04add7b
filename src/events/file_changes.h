#pragma once

#include <span>
#include <vector>

#include "events/owners.h"
#include "events/transaction_facts.h"
#include "history/file_history.h"

namespace kest {

// An attribute of a file before and after, in whichever of its file records it lay.
struct joined_change {
    const attribute_change* before = nullptr;
    const attribute_change* after = nullptr;  // the same one, unless it moved to another file record

    const attribute_change& shown() const { return after != nullptr ? *after : *before; }
    std::optional<std::uint32_t> type() const { return shown().type; }
    uni::byte_view name() const { return shown().name.value_or(uni::byte_view{}); }
    std::uint32_t proof() const { return shown().proof; }
    attribute_state state_before() const { return before != nullptr ? before->before : absent(); }
    attribute_state state_after() const { return after != nullptr ? after->after : absent(); }
    bool came() const {
        return state_of_presence(after, true) == presence::present &&
               state_of_presence(before, false) == presence::absent;
    }
    bool went() const {
        return state_of_presence(before, false) == presence::present &&
               state_of_presence(after, true) == presence::absent;
    }

private:
    static attribute_state absent() { return {.present = presence::absent}; }
    static presence state_of_presence(const attribute_change* change, bool behind) {
        if (change == nullptr) return presence::absent;
        return behind ? change->after.present : change->before.present;
    }
};

// What one transaction did to one file: all that stands, or all that was rolled back.
struct file_changes {
    inode_ref file;
    known_by owner = known_by::log;  // by what the file is known to be the one
    const transaction_facts& transaction;
    std::span<const event_fact* const> facts;       // in the order of the steps
    std::span<const record_change* const> records;  // of its file record and its extension records
    bool rolled_back = false;
};

// The attributes of which more is reported than that they are there. Those that moved between file records are one.
void join_attributes(std::vector<joined_change>& out, const file_history& history, const file_changes& changes);

}  // namespace kest
