#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "coverage/coverage.h"
#include "events/event.h"
#include "options/logfile_options.h"
#include "portable/file.h"
#include "report/event_choice.h"
#include "report/frequency_table.h"

namespace kest {

// What a summary shows of one event.
struct summed_event {
    event_time when;
    std::string_view clock;
    std::string kind;
    std::string_view state;  // empty for what no transaction did
    std::string path;
    std::string old_path;
    std::optional<inode_ref> file;  // none: of no file
    std::uint64_t lsn = 0;          // 0: none
};

// Events of a few kinds: the first ones, as many as have room, and how many there were.
struct summed_events {
    std::vector<summed_event> kept;
    std::uint64_t total = 0;
    std::size_t bytes = 0;  // of the kept ones' paths
};

// The summary of one log or journal, gathered while its events pass.
class event_summary {
public:
    explicit event_summary(log_coverage coverage) : m_coverage(std::move(coverage)) {}

    void add(const event& shown);

    // As text for a screen, or as one JSON object with more of each list. `left_out` is of this log.
    std::string text(const logfile_options& options, const events_left_out& left_out) const;
    void write_object(const events_left_out& left_out, uni::fileio_output& report_sink) const;

private:
    static constexpr std::size_t most_folders = 10, most_hours = 10;

    void count_time(const event& shown);

    log_coverage m_coverage;
    std::uint64_t m_events = 0, m_open = 0, m_undone = 0, m_untimed = 0;
    value_range m_times;  // of events with a time of their own
    std::map<std::string, std::uint64_t, std::less<>> m_kinds;
    frequency_table m_folders{most_folders};
    frequency_table m_hours{most_hours};
    summed_events m_mounts, m_times_set, m_differences, m_deleted_journals;  // mounts and changes of the clock
    std::deque<summed_event> m_last_deleted;
    std::uint64_t m_deleted = 0;
    std::string m_word;  // of the event at hand
};

}  // namespace kest
