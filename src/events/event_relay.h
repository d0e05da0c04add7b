#pragma once

#include <array>
#include <cstddef>
#include <memory_resource>
#include <optional>
#include <vector>

#include "events/derive_events.h"
#include "portable/worker_thread.h"

namespace kest {

// Passes events on to a listener, in their order. Many of them go by a thread of its own: while it takes some, the next
// ones are found. Names, values and runs of clusters are copied; all else that an event refers to outlives this.
class event_relay {
public:
    explicit event_relay(const event_listener& listener) : m_listener(listener) {}

    // Throws what the listener threw at an earlier event.
    void put(const event& shown);
    // Returns when all events have been taken, or the listener has thrown. Throws what it threw, once.
    void finish();

private:
    struct batch {
        std::vector<event> events;  // those from `count` on are memory for later ones
        std::size_t count = 0;
        std::size_t bytes = 0;  // of what events refer to and of their texts
        std::pmr::monotonic_buffer_resource copies;

        void add(const event& shown);
        bool is_full() const;
        void clear();

    private:
        void keep(uni::byte_view& view);
        void keep(event_values& values);
    };

    void hand_over();
    void pass_on(const batch& taken);

    const event_listener& m_listener;
    std::array<batch, 2> m_batches;
    batch* m_filling = &m_batches[0];
    batch* m_taken = &m_batches[1];
    bool m_failed = false;                  // the listener threw: it gets no more
    std::optional<worker_thread> m_thread;  // ends before what it reads
};

}  // namespace kest
