#pragma once

#include <cstdint>

#include "events/event.h"
#include "events/log_facts.h"
#include "history/file_history.h"

namespace kest {

// The latest times that data of the log prove; 0: none. Only a time that is set by the system's clock dates a change:
// one that is carried along, as by index entries and old file records, is older, and one that goes back was set by a
// program. Those of last modification and access date nothing, as programs set them to whatever they like.
struct proved_times {
    std::uint64_t journal = 0;
    std::uint64_t record = 0;
    std::uint64_t carried = 0;  // the data are no older

    void add(const log_fact& fact);
    void add(const file_history& history, const record_change& change);
    // The latest of its own.
    std::uint64_t own() const { return journal != 0 ? journal : record; }
};

// Sets the time of an event of one file. `bound` is the latest time that an earlier transaction has.
void set_time(event_header& shown, const proved_times& file, const proved_times& transaction, std::uint64_t bound);

}  // namespace kest
