#pragma once

#include <array>
#include <functional>
#include <map>

#include "events/event.h"
#include "events/file_events.h"
#include "events/mft_differences.h"

namespace kest {

// Gives found events their texts and values, one after the other, and passes them on.
class event_writer {
public:
    event_writer(const event_context& context, const std::function<void(const event&)>& listener)
        : m_context(context), m_listener(listener) {}

    void write(const found_events& found);
    void write(const mft_difference& difference, const event_subject& subject);

    // Whether it is not shown of clusters if they are free at the end.
    bool omits_clusters() const { return m_omits_clusters; }

private:
    void write(const found_event& found, const event_subject& subject);
    void write(const clock_change& change);
    void write(const volume_event& shown);
    bool is_of_journal(event_kind kind);
    void begin(const found_event& found, const event_subject& subject);
    std::optional<resolved_name> name_of(const found_event& found, const event_subject& subject) const;
    void set_paths(const found_event& found, const event_subject& subject);
    std::string_view shown_folder(const folder_path& folder, std::uint64_t events);
    std::uint32_t copies_of_content(const std::array<std::uint64_t, 3>& content);
    void set_time(const found_event& found, const event_subject& subject);
    void set_age(const found_event& found);
    void set_values(const found_event& found);
    void set_lost_data(const found_event& found);
    void write_clusters(const found_event& found);
    std::optional<cluster_share> unused_after(const found_event& found, std::span<const cluster_run> runs);
    void take_extended_attribute(const found_event& found);
    uni::byte_view owner_after(const record_change& record, const standard_change* standard) const;
    void find_recycling(const found_event& found);
    void set_flags(const standard_change& change);

    const event_context& m_context;
    const std::function<void(const event&)>& m_listener;
    std::span<const cluster_run> m_runs;  // of the events at hand
    event m_event;
    std::vector<std::uint8_t> m_units;  // of the name of an extended attribute
    std::uint32_t m_transaction = no_transaction;
    std::uint64_t m_with_paths = 0;                                    // events of it
    std::uint64_t m_long_paths = std::uint64_t{64} << 20;              // bytes that are left for those after its first
    std::map<std::array<std::uint64_t, 3>, std::uint32_t> m_contents;  // of the record at hand: file, stream, side
    std::uint64_t m_contents_lsn = 0;                                  // of that record
    bool m_omits_clusters = false;
};

}  // namespace kest
