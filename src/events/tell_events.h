#pragma once

#include <functional>

#include "events/event.h"
#include "logfile/log_store.h"
#include "mft/inode_collection.h"

namespace kest {

// Is told the events one after the other; each stands during the call.
using event_listener = std::function<void(const event&)>;
// Is told how many of how many transactions are done.
using event_progress = std::function<void(std::uint64_t, std::uint64_t)>;

// Tells what the log's transactions prove, by the LSN of their first records, and the events of one in the order of its
// steps. The log's chains are linked, the cut ones too. An MFT answers what the log does not hold.
void tell_events(const log_store& log, const _inode_collection& inodes, bool guesses_allowed,
                 const event_listener& listener, const event_progress& progress);

}  // namespace kest
