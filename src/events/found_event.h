#pragma once

#include <cstdint>
#include <optional>
#include <variant>
#include <vector>

#include "events/event.h"
#include "events/file_changes.h"
#include "events/volume_events.h"
#include "operations/stated_times.h"

namespace kest {

// A file in the transaction at hand.
struct event_subject : event_header {
    name_source owner = name_source::log;
    std::uint32_t transaction = 0;
    std::uint64_t journal_time = 0;  // the latest of its journal records in the transaction
};

// An event without its texts: what it rests on, and where it belongs among those of its transaction.
struct found_event {
    event_kind kind = event_kind::created;
    std::uint8_t rank = 0;                  // among those of one log record
    name_source known = name_source::log;   // of `name`
    std::uint32_t subject = 0;              // which one
    std::uint32_t proof = 0;                // position in the log
    file_name_view name = {};               // after the event; of what is removed the last; empty: to be looked up
    file_name_view old_name = {};           // of a rename
    const record_change* record = nullptr;  // where the event shows in more than an attribute
    joined_change attribute = {};
    const log_fact* journal_record = nullptr;                    // that proves it
    std::uint32_t known_reasons = 0;                             // before it
    std::uint32_t new_reasons = 0;                               // an event each
    std::uint64_t birth_time = 0;                                // of copied times: ticks
    std::optional<std::uint32_t> transactions_since_birth = {};  // likewise
    std::uint64_t own_time = 0;                                  // ticks that the file's record gets with it; 0: none
    // Runs that are lost, and after them those that are gained: in `found_events::runs`.
    std::size_t first_run = 0;
    std::size_t lost_count = 0;
    std::size_t gained_count = 0;
    const attribute_change* runs_of = nullptr;
    std::uint32_t stream = 0;     // of `content_held`: its number
    bool shows_before = false;    // likewise: the bytes are those before
    uni::byte_view ea_name = {};  // characters of one byte
    std::optional<uni::byte_view> ea_before = {};
    std::optional<uni::byte_view> ea_after = {};
};

// Events that are found and not written yet, in their order. All else that they refer to outlives them.
struct found_events {
    // What is about no file, and comes before one of the events.
    struct volume_wide {
        std::size_t before = 0;
        std::variant<const volume_event*, const clock_change*> shown;
    };
    std::vector<found_event> events;
    std::vector<event_subject> subjects;
    std::vector<cluster_run> runs;
    std::vector<volume_wide> of_volume;
};

}  // namespace kest
