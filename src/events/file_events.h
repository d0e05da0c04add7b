#pragma once

#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "events/event.h"
#include "events/file_memory.h"
#include "events/links.h"
#include "events/lives.h"
#include "events/logged_records.h"
#include "events/paths.h"
#include "events/standard_changes.h"
#include "events/tunnels.h"

namespace kest {

// What is known of a log beside the transaction at hand.
struct event_context {
    const log_store& log;
    const _inode_collection& inodes;
    const told_log& told;
    const record_lives& lives;
    name_history& names;
    folder_paths& paths;
    const file_memory& memory;  // of the transactions ahead
    standard_lookup& standard;
    name_tunnels& tunnels;
    const logged_records& logged;
    const uni::seeded_map<bool>& journals;  // numbers of file records that grow with each journal record
};

// An event, and where it belongs among those of its transaction.
struct placed_event {
    event told;
    unsigned rank = 0;  // among those of one log record
};

// The deeds of one transaction on one file.
struct file_deeds {
    inode_ref file;
    const told_transaction& transaction;
    std::span<const std::uint64_t> taken;     // numbers of the file records that the transaction takes, in order
    std::span<const told_fact* const> facts;  // all done, or all undone, in the order of the steps
    bool undone = false;
};

// Finds the events of one file in one transaction. Reads nothing of a system file.
class file_events {
public:
    file_events(const event_context& context, std::vector<placed_event>& out) : m_context(context), m_out(out) {}

    void find(const file_deeds& deeds);

private:
    // Where a file is: its name in a folder.
    struct file_place {
        held_name name;
        known_by known = known_by::log;
    };
    struct attribute_changes;

    static file_place place_of(const file_name_view& name);
    std::optional<file_place> place_at(std::uint64_t lsn) const;
    event& add(event_kind kind, const told_fact& proof, const std::optional<file_place>& place, unsigned rank = 0,
               uni::byte_view stream = {});
    void set_old_path(event& told, const file_name_view& name);
    bool settles(std::span<const link_change> changes) const;
    bool is_taken() const;
    std::optional<bool> is_folder() const;

    void tell_births();
    void tell_birth(const told_fact& birth);
    void tell_birth_attributes(const told_fact& birth, const file_place& place);
    std::optional<file_place> birth_place(const told_fact& birth) const;
    void tell_end(const told_fact& freed);
    void tell_ends();
    void tell_links();
    void tell_renaming(const link_change& came, const link_change& went);
    void tell_came(const link_change& came);
    void tell_went(const link_change& went);
    bool proves_link(const link_change& change) const;
    void tell_attributes();
    void tell_stream(const attribute_changes& changes);
    void tell_reparse_point(const attribute_changes& changes);
    void tell_object_id(const attribute_changes& changes);
    void tell_sizes();
    void tell_new_size(std::span<const told_fact* const> writes);
    std::optional<attribute_key> written_attribute(const told_fact& write);
    std::optional<attribute_key> stored_attribute(const told_fact& write);
    std::uint64_t stated_size_before(const told_fact& write) const;
    std::uint64_t size_before(const told_fact& first, uni::byte_view stream) const;
    void tell_standard();
    void tell_times(const standard_change& change, const told_fact& last);
    bool is_innocent(const standard_change& change, const told_fact& last) const;
    bool is_tunnelled(const standard_change& change, const told_fact& last) const;
    bool is_copied(const standard_change& change) const;
    void tell_flags(const standard_change& change, const told_fact& last);
    void tell_reasons();

    const event_context& m_context;
    std::vector<placed_event>& m_out;
    const file_deeds* m_deeds = nullptr;
    link_changes m_links;
    std::uint32_t m_reasons = 0;  // of the journal records
    std::uint32_t m_said = 0;     // of the reasons those that an event says
    std::optional<bool> m_is_folder;
    bool m_created = false;
    bool m_deleted = false;
    std::vector<std::uint8_t> m_record;  // a file record of the MFT, read again
};

}  // namespace kest
