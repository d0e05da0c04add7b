#pragma once

#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "events/event.h"
#include "events/file_changes.h"
#include "events/links.h"
#include "events/logged_records.h"
#include "events/own_times.h"
#include "events/paths.h"
#include "events/tunnels.h"

namespace kest {

// What earlier transactions say of a file.
struct file_past {
    std::uint32_t reasons = 0;  // of its journal records since it was last closed
    std::uint64_t birth_time =
        0;                      // the latest time that it got when it was created; 0 if that is not in the log so far
    bool just_created = false;  // the last transaction on the file created it
};

// What is known of a log beside the transaction at hand.
struct event_context {
    const log_store& log;
    const file_history& history;
    const record_owners& owners;
    const name_history& names;
    folder_paths& paths;
    name_tunnels& tunnels;
    const logged_records& logged;
    const uni::seeded_map<bool>& journals;   // numbers of file records that grow with each journal record
    const uni::seeded_map<file_past>& past;  // by file reference
};

// A file in the transaction at hand.
struct event_subject {
    inode_ref file;
    known_by owner = known_by::log;
    event_state state = event_state::done;
    bool cut = false;
    std::uint32_t reasons = 0;  // of its journal records
    std::optional<bool> is_folder;
    event_source source = event_source::log;
    event_time time = {};
};

// An event without its texts: what it rests on, and where it belongs among those of its transaction.
struct found_event {
    event_kind kind = event_kind::created;
    std::uint8_t rank = 0;   // among those of one log record
    std::uint8_t known = 0;  // of its name: `known_by`
    std::uint32_t subject = 0;
    std::uint32_t proof = 0;   // position in the log
    std::uint64_t lsn = 0;     // of the proof
    file_name_view name = {};  // what it is called after the event; empty: to be looked up
    file_name_view old_name = {};
    uni::byte_view stream = {};
    const record_change* record = nullptr;
    joined_change attribute = {};
    const event_fact* said = nullptr;  // the journal record that says it
    std::uint32_t known_reasons = 0;   // ahead of it
    std::uint32_t new_reasons = 0;     // an event each
};

// Finds the events of one file in one transaction. Reads nothing of a system file.
class file_events {
public:
    file_events(const event_context& context, std::vector<found_event>& out) : m_context(context), m_out(out) {}

    // Completes what `subject`, which will be at that place, has of its own.
    void find(const file_changes& changes, event_subject& subject, std::uint32_t place);

private:
    found_event& add(event_kind kind, std::uint32_t proof, unsigned rank = 0);
    found_event& add(event_kind kind, const link_change& link);
    bool is_taken() const;
    std::optional<bool> is_folder() const;

    std::optional<file_name_view> birth_name(const record_change& birth) const;
    void find_birth();
    void find_end();
    void find_links();
    void find_renaming(const link_change& came, const link_change& went);
    bool proves_link(const link_change& change) const;
    void find_birth_attributes(const file_name_view& name);
    void find_attributes();
    void find_attribute(const joined_change& change);
    void find_new_size(const joined_change& change);
    void find_standard(const record_change& record, const standard_change& change);
    bool is_innocent(const standard_change& change, std::uint32_t set_back, bool new_creation) const;
    bool is_tunnelled(const standard_change& change) const;
    bool is_copied(const standard_change& change, std::uint32_t set_back) const;
    void find_reasons();
    file_past past() const;

    const event_context& m_context;
    std::vector<found_event>& m_out;
    const file_changes* m_changes = nullptr;
    std::uint32_t m_place = 0;  // of the subject
    std::vector<joined_change> m_attributes;
    link_changes m_links;
    std::uint32_t m_reasons = 0;  // of the journal records
    std::uint32_t m_said = 0;     // of the reasons those that an event says
    std::optional<bool> m_is_folder;
    const record_change* m_birth = nullptr;  // the first
    bool m_created = false;
    bool m_deleted = false;
};

}  // namespace kest
