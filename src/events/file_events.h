#pragma once

#include <optional>
#include <vector>

#include "events/cluster_uses.h"
#include "events/content_versions.h"
#include "events/file_changes.h"
#include "events/file_runs.h"
#include "events/file_tunneling.h"
#include "events/folder_paths.h"
#include "events/found_event.h"
#include "events/log_clock.h"
#include "events/recycle_bin.h"
#include "events/security_descriptors.h"
#include "mft/limits.h"

namespace kest {

// What earlier transactions state of a file.
struct file_past {
    std::uint32_t reasons = 0;     // of its journal records since it was last closed
    std::uint64_t birth_time = 0;  // ticks; 0 if its creation is not in the log so far
    std::uint32_t birth_transaction = 0;
    std::uint64_t last_event = 0;  // ticks, of the last transaction on the file that has a time of its own
    file_name_view name = {};      // by the last index entry that was added, a DOS name aside
};

// What events may show beyond what a log shows by itself, as one record may bring back all that a file record held.
struct event_budgets {
    explicit event_budgets(std::uint64_t logged_bytes)
        : runs(std::uint64_t{1} << 10, logged_bytes / 16), extended_attributes(256, logged_bytes / 16) {}

    budget_by_file runs;
    budget_by_file extended_attributes;
};

// What is known of a log besides the transaction at hand. Events may be written while the next ones are found, so what
// changes meanwhile belongs to one side: `paths` to the writer; `tunneling`, `past`, `versions` and `budgets` to the
// finder. In `omitted` each side sets members of its own.
struct event_context {
    const log_store& log;
    const log_facts& facts;
    const file_history& history;
    const file_names& names;
    folder_paths& paths;
    file_tunneling& tunneling;
    const security_descriptors& descriptors;
    const recycle_bin& bin;
    const log_clock& clock;
    const uni::seeded_map<bool>& journals;   // numbers of file records that grow with each journal record
    const uni::seeded_map<file_past>& past;  // by file reference
    event_topic topic;
    content_versions& versions;
    const cluster_uses& uses;
    event_budgets& budgets;
    limits_hit& omitted;
};

// Finds the events of one file in one transaction.
class file_events {
public:
    file_events(const event_context& context, found_events& out)
        : m_context(context), m_out(out.events), m_runs(out.runs) {}

    // Fills in what `subject`, the one of that index, has of its own.
    void find(const file_changes& changes, event_subject& subject, std::uint32_t index);
    // The same of $Volume, whose record states what is so of the volume.
    void find_of_volume(const file_changes& changes, event_subject& subject, std::uint32_t index);

private:
    found_event& add(event_kind kind, std::uint32_t proof, unsigned rank = 0);
    found_event& add(event_kind kind, const link_change& link);
    void describe(event_subject& subject);

    // These two answer whether that happened to the file.
    bool find_creation();
    bool find_deletion();
    bool find_links();  // likewise, by a name that is added
    bool has_name(const file_name_view& name, std::uint32_t position) const;
    bool proves_link(const link_change& change) const;
    std::optional<file_name_view> name_at_birth() const;
    void find_attributes();
    void find_new_size(const joined_change& change);
    void find_new_owner(const joined_change& change);
    void find_journal_limit(const joined_change& change);
    void find_new_owner(const record_change& record, const standard_change& change);
    void find_times(bool after_reasons);
    void find_flags(const record_change& record, const standard_change& change);
    bool is_tunneled(const standard_change& change) const;
    std::uint64_t birth_of(const standard_change& change) const;
    bool is_copying(const standard_change& change) const;
    void find_reasons();
    void find_extended_attributes(const joined_change& change, const file_name_view& name, unsigned rank);
    std::vector<stream_runs>& streams();
    void take_lost_runs(found_event& found);
    bool take_runs(found_event& found, std::span<const cluster_run> lost, std::span<const cluster_run> gained);
    void leave_out_moved(stream_runs& stream) const;
    void find_clusters(const found_event& run);
    bool finds_events() const {
        return m_context.topic == event_topic::events || m_context.topic == event_topic::events_and_clusters;
    }
    void find_contents();
    found_event sample_of(event_kind kind) const;

    const event_context& m_context;
    std::vector<found_event>& m_out;
    std::vector<cluster_run>& m_runs;
    const file_changes* m_changes = nullptr;
    std::uint32_t m_subject = 0;
    std::size_t m_first = 0;           // of its events
    std::uint64_t m_journal_time = 0;  // the subject's
    std::vector<joined_change> m_attributes;
    link_changes m_links;
    std::optional<std::vector<stream_runs>> m_streams;  // once they are asked for
    std::uint32_t m_covered = 0;                        // reasons of journal records that are covered by an event
    std::optional<bool> m_is_folder;
    const record_change* m_birth = nullptr;  // the first
    file_past m_past;
};

}  // namespace kest
