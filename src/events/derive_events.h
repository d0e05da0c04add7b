#pragma once

#include <functional>
#include <optional>

#include "events/event.h"
#include "journal/journal_cursor.h"
#include "logfile/log_store.h"
#include "mft/inode_collection.h"
#include "portable/byte_source.h"

namespace kest {

// Gets the events one after the other; each stands during the call.
using event_listener = std::function<void(const event&)>;
// Gets how many of how many transactions are done.
using event_progress = std::function<void(std::uint64_t, std::uint64_t)>;

// What events are derived from.
struct event_inputs {
    const log_store& log;  // in the order of its LSNs, its chains linked, the cut ones too; empty where there is no log
    const _inode_collection& inodes;  // of an MFT, for what neither log nor journal file hold
    const uni::byte_source* journal;  // the journal file, open; null: none
    bool guesses_allowed;
    std::optional<std::uint32_t> cluster_size;  // bytes, where the user states it
    event_topic topic;
    bool threads_allowed;
    limits_hit& omitted;  // what guards leave out of the events
};

// Reports what the log's transactions prove, by the LSN of their first records, and the events of one in the order of
// its steps; and between them what only the journal file states, in the order of its records. Answers what came of
// reading that file.
journal_reading derive_events(const event_inputs& inputs, const event_listener& listener,
                              const event_progress& progress);

}  // namespace kest
