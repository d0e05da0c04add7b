#pragma once

#include <cstdint>
#include <span>

#include "events/event.h"
#include "events/file_changes.h"

namespace kest {

struct event_time {
    std::uint64_t ticks = 0;
    event_clock clock = event_clock::after;
};

// The times that a transaction's own data prove. Only a time that it sets by the system's clock dates it: one that it
// carries along, as index entries and old file records do, is older, and one that goes back a program set. Those of
// last modification and access date nothing, as programs set them to whatever they like.
class own_times {
public:
    own_times(const file_history& history, const transaction_facts& transaction,
              std::span<const record_change> changes);

    // The latest time of its own; 0 if it has none.
    std::uint64_t latest() const { return m_journal != 0 ? m_journal : m_record; }
    // Of an event of one file. `bound` is the latest time that an earlier transaction has.
    event_time of_file(std::span<const event_fact* const> facts, std::span<const record_change* const> records,
                       std::uint64_t bound) const;

private:
    const file_history& m_history;
    std::uint64_t m_journal = 0;  // the latest of any file; 0: none
    std::uint64_t m_record = 0;
    std::uint64_t m_carried = 0;  // no event is earlier than its own data
};

}  // namespace kest
