#pragma once

#include <cstdint>
#include <vector>

#include "events/event.h"
#include "events/file_changes.h"
#include "logfile/log_store.h"

namespace kest {

inline constexpr std::uint64_t volume_number = 3;  // the file record of $Volume

// What an attribute states of the volume, if it is $VOLUME_INFORMATION.
std::optional<std::uint16_t> volume_flags_of(std::optional<std::uint32_t> type, const attribute_state& state);

// How large a journal may get, as its stream $Max states it. Bytes.
struct journal_limit {
    std::uint64_t maximum_size = 0;
    std::uint64_t allocation_delta = 0;
    std::uint64_t journal_id = 0;

    // Nothing if the attribute is another one.
    static std::optional<journal_limit> read(const joined_change& change, const attribute_state& state);
    bool operator==(const journal_limit&) const = default;
};

// What the restart records of the log's client say of the volume. It is about no file.
struct volume_event {
    event_kind kind = event_kind::mounted;
    std::uint32_t proof = 0;  // position of the restart record
    event_values before;
    event_values after;
};

// By LSN.
std::vector<volume_event> find_volume_events(const log_store& log);

}  // namespace kest
