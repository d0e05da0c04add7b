#pragma once

#include <functional>

#include "events/event.h"
#include "events/file_events.h"

namespace kest {

// Gives found events their texts and values, one after the other, and passes them on.
class shown_events {
public:
    shown_events(const event_context& context, const std::function<void(const event&)>& listener)
        : m_context(context), m_listener(listener) {}

    void show(const found_event& found, const event_subject& subject);

private:
    struct file_place {
        held_name name;
        known_by known = known_by::log;
    };

    std::optional<file_place> place_of(const found_event& found, const event_subject& subject) const;
    void set_paths(const found_event& found, const event_subject& subject);
    void set_values(const found_event& found);
    void set_standard_values(const found_event& found);

    const event_context& m_context;
    const std::function<void(const event&)>& m_listener;
    event m_event;
};

}  // namespace kest
