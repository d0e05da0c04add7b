#pragma once

#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "events/event.h"
#include "history/file_history.h"
#include "logfile/lsn_layout.h"
#include "mft/record_view.h"
#include "operations/log_facts.h"
#include "operations/stated_times.h"

namespace kest {

// What the system's clock showed along the log. Two kinds of records state it by themselves: journal records, and new
// file records, whose times the system sets. Between two of these it is known from what the system writes after a
// name has changed: the folder's times, and those of a file that got another name. A program can set such times, too,
// so they count as far as they fit the clock, and as most of them agree.
class log_clock {
public:
    log_clock(const log_store& log, const log_facts& facts, const file_history& history,
              const std::vector<stated_time>& stated);

    // Of what is no transaction's.
    event_time time_at(std::uint64_t lsn) const;
    // Of what a transaction did at an LSN.
    event_time time_of(std::uint32_t transaction, std::uint64_t lsn) const;
    // The same, if a file's own record gets `ticks` there and the clock may have shown it: it may be written late.
    event_time time_of(std::uint32_t transaction, std::uint64_t lsn, std::uint64_t ticks) const;
    // The latest time that the clock is known to have shown before; 0: none.
    std::uint64_t latest_before(std::uint64_t lsn) const { return lower(lsn); }
    // Whether the clock may have shown the time by then.
    bool has_passed(std::uint64_t ticks, std::uint64_t lsn) const;
    // Whether the clock was set back before, and may have shown the time since.
    bool was_set_back_to(std::uint64_t ticks, std::uint64_t lsn) const;

    // Whether a name was added to a folder, removed from it or changed, since its times were written before. The change
    // is one of the history's, and sets the time of modification.
    bool names_changed(const record_change& folder) const {
        return m_names_changed[static_cast<std::size_t>(&folder - m_history.changes().data())];
    }

    // Where it was set back, by the transaction that shows it.
    std::span<const clock_change> set_back() const { return m_changes_by_transaction; }

private:
    class finder;

    // The clock at an LSN.
    struct moment {
        std::uint64_t lsn = 0;
        std::uint64_t ticks = 0;
    };

    std::uint64_t lower(std::uint64_t lsn) const;
    std::uint64_t upper(std::uint64_t lsn) const;

    const file_history& m_history;
    std::vector<moment> m_moments;  // by LSN
    // By transaction: the best time of its own, and where it comes from; and what it was not after. 0: not known.
    std::vector<std::uint64_t> m_own;
    std::vector<event_clock> m_clocks;
    std::vector<std::uint64_t> m_limits;
    std::vector<bool> m_names_changed;  // of each change of the history
    const std::vector<clock_change> m_changes_by_lsn;
    std::vector<clock_change> m_changes_by_transaction;
};

}  // namespace kest
