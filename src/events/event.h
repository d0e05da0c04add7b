#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "mft/inode_ref.h"
#include "mft/run_reader.h"
#include "portable/byte_view.h"

namespace kest {

enum class event_kind : std::uint8_t {
    created,
    deleted,
    renamed,
    moved,
    link_added,
    link_removed,
    stream_added,
    stream_removed,
    resized,
    times_set,
    times_copied,
    written,
    read,
    metadata_changed,
    attributes_set,
    reparse_point_set,
    reparse_point_removed,
    object_id_set,
    clock_set_back,  // of no file
    ea_set,          // an extended attribute
    ea_removed,
    clusters_changed,  // only where clusters are asked for
    content_held,      // only where contents are asked for
    owner_set,         // another owner by the security descriptor
    recycled,          // moved to the recycle bin
    restored,          // moved from there
    mounted,           // the volume; of no file, as are those of the journal that only a checkpoint shows
    journal_created,
    journal_deleted,
    journal_resized,
    volume_flags_set,
    volume_renamed,
    mft_differs,   // the MFT copy is not what the log wrote last
    reason_given,  // what only a journal record says
};

// Where the event is from.
enum class event_source : std::uint8_t {
    log,
    journal,  // the journal file
    both      // the log, and the transaction's journal record on the file stands in the journal file, too
};

// Where a time is from.
enum class event_clock : std::uint8_t {
    journal,    // a journal record: of the transaction, or of the journal file
    record,     // a time that the system gives to the file's record
    folder,     // the times of the folder in which a name was added, removed or changed
    not_before  // no time of its own: the event is not earlier than the time shown
};

// What a name rests on; of a path the weakest of its parts counts.
enum class name_source : std::uint8_t { log, journal, mft, part, guess };

enum class event_state : std::uint8_t { done, open, undone };

// What is reported of a log: events, or in place of them all runs of clusters, or all contents that it holds; or events
// and such runs, those of a transaction together.
enum class event_topic : std::uint8_t { events, clusters, contents, events_and_clusters };

// How many clusters of a list of runs. Holes have none.
enum class cluster_share : std::uint8_t { none, part, all };

// Where data lay that are no longer there, or lie that were not there.
struct data_place {
    std::optional<bool> resident;         // within the file record
    std::span<const cluster_run> runs;    // stand as long as the event
    bool in_bitmap = false;               // the transaction says so of all of them in $Bitmap, too
    std::optional<cluster_share> unused;  // of lost ones: what no later record of the log gives to a file
};

// What changed, on one side of the event. What is not there is not known.
struct event_values {
    static constexpr std::size_t time_count = 4;  // created, modified, mft_changed, accessed

    std::array<std::optional<std::uint64_t>, time_count> times;  // ticks
    std::optional<bool> is_directory;
    std::optional<std::uint32_t> flags;  // attribute bits
    bool some_flags = false;             // of `flags` only those here are known
    std::optional<std::uint64_t> size;   // these three in bytes
    std::optional<std::uint64_t> allocated;
    std::optional<std::uint64_t> valid;
    std::optional<inode_ref> parent;
    uni::byte_view name;  // UTF-16, as on disk; stands as long as the event
    std::optional<std::uint32_t> reparse_tag;
    uni::byte_view object_id;
    std::optional<std::uint32_t> reasons;
    std::uint64_t clock = 0;                          // ticks, as the system's clock showed them; 0: not stated
    std::optional<std::uint64_t> since_creation;      // ticks
    std::optional<std::uint32_t> transactions_since;  // the creation
    data_place place;
    uni::byte_view value;        // of the extended attribute of that name, or of the stream
    uni::byte_view owner;        // SID, whole; empty: not known
    uni::byte_view twin;         // name, UTF-16, of what says where a file in the bin was
    std::string_view log_state;  // of `mounted`: what the system found; empty: not known
    std::optional<std::uint64_t> next_usn;
    std::optional<std::uint64_t> maximum_size;      // of a journal, bytes
    std::optional<std::uint64_t> allocation_delta;  // likewise
    std::optional<std::uint64_t> journal_id;
    std::optional<std::uint16_t> volume_flags;
    std::optional<std::uint32_t> record_offset;  // of `mft_differs`: the first byte of the file record that differs
    std::uint16_t differing_parts = 0;           // likewise: bits of `record_part`
};

// When an event was, in ticks; 0: not known. With a time of its own `time` is that, and `not_after` is 0.
struct event_time {
    std::uint64_t time = 0;
    std::uint64_t not_after = 0;
    event_clock clock = event_clock::not_before;
};

// What all events of one file in one transaction have in common, or all of one record of a journal file.
struct event_header : event_time {
    event_source source = event_source::log;
    event_state state = event_state::done;
    bool cut = false;  // the transaction's beginning is lost
    inode_ref file;    // sequence number 0: not known
    std::optional<bool> is_folder = {};
    std::uint32_t reasons = 0;  // of the transaction's journal records on the file, or of the one record
};

struct event : event_header {
    event_kind kind = event_kind::created;
    std::uint32_t given_reason = 0;  // of `reason_given`: its bit
    std::string path;                // UTF-8; its names in words where they could mislead
    std::string name_hex;            // UTF-16 of the path's last name, where that needed a word
    std::string old_path;
    std::string old_name_hex;
    name_source known = name_source::log;
    inode_ref parent;               // 0: not known
    std::uint64_t lsn = 0;          // none of the journal file's events has one, or a state
    std::uint64_t file_offset = 0;  // bytes, in the log or in the journal file
    bool of_system = false;         // about what the system keeps for itself
    event_values before;
    event_values after;
    std::optional<std::uint32_t> attribute_type;  // of `clusters_changed`
    std::uint32_t stream = 0;                     // of `content_held`: its number in the file
    std::uint32_t copy = 0;  // likewise: how many of that stream the same record of the log showed before
};

// About no file.
inline bool is_of_volume(const event& shown) {
    return shown.file == inode_ref{} && shown.kind != event_kind::mft_differs;
}

}  // namespace kest
