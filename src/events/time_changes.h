#pragma once

#include <cstdint>
#include <optional>

#include "events/event.h"
#include "events/log_clock.h"
#include "history/record_changes.h"

namespace kest {

// What is known of a file when its four times are written.
struct time_circumstances {
    const log_clock& clock;
    std::uint64_t lsn = 0;         // of the write
    bool tunneled = false;         // the creation time is that of a file of this name that went from this folder
    bool copying = false;          // it was created as short a time ago as a copy takes
    bool names_changed = false;    // in the folder, since its times were last written
    std::uint64_t last_event = 0;  // ticks of the file's last event; 0: not known
};

// What a write of the four times says. The system sets each to the present time: of modification when the data are
// written, of access when they are read, of change with all that it writes to the file record. So each only grows, none
// is later than the clock, none of change earlier than that of modification. What breaks one of these rules, and a
// creation time that is not the same, was set by a program.
struct time_change {
    std::optional<event_kind> kind;  // none: what another event says already
    std::uint64_t ticks = 0;         // when that was, by the times themselves; 0: they do not say
};

bool changes_creation_time(const standard_change& change);
// The time of change that the write sets, if it is a later one; else 0.
std::uint64_t new_change_time(const standard_change& change);
time_change judge_times(const standard_change& change, const time_circumstances& known);

}  // namespace kest
