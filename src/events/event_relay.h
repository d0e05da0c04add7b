#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <utility>

#include "events/found_event.h"
#include "portable/worker_thread.h"

namespace kest {

// Has found events written, in their order. Many of them are written by a thread of its own: while it writes some, the
// next ones are found.
class event_relay {
public:
    using writer = std::function<void(const found_events&)>;

    // Without threads events are written as their transaction ends.
    event_relay(writer write, bool threads_allowed) : m_write(std::move(write)), m_threads_allowed(threads_allowed) {}

    // Where the events of the transaction at hand go, after those that wait.
    found_events& found() { return m_found; }
    // All events that were found belong to transactions that are whole. Throws what the writer threw before.
    void end_transaction();
    // Has everything written that is whole. Throws what the writer threw, once.
    void finish();

private:
    void hand_over();
    void write(const found_events& found);

    const writer m_write;
    const bool m_threads_allowed;
    found_events m_found;
    found_events m_taken;                   // by the thread
    std::size_t m_whole = 0;                // of the events found
    bool m_failed = false;                  // the writer threw: it gets no more
    std::optional<worker_thread> m_thread;  // ends before what it reads
};

}  // namespace kest
