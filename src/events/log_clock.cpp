#include "events/log_clock.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <tuple>
#include <utility>

#include "events/file_changes.h"
#include "format/time.h"
#include "journal/usn_record.h"
#include "logfile/lsn_layout.h"
#include "mft/record_view.h"
#include "portable/radix_sort.h"

namespace kest {

namespace {

constexpr std::uint64_t never = ~std::uint64_t{0};

// What a program sets as a time may be any time. After the last time that the system states, one that is later by more
// is not taken for the clock's.
constexpr std::uint64_t one_day = 86'400 * cv::ticks_per_second;

enum : std::size_t { created, modified, mft_changed, accessed };

// Damage, or what a program set, would be a time that no calendar has.
std::uint64_t plausible(const partial_number<std::uint64_t>& time) {
    const auto ticks = time.whole();
    return ticks && cv::has_calendar_form(*ticks) ? *ticks : 0;
}

// The time that a write gives to what changed in a folder: its times of last change, and only as new ones.
std::uint64_t time_of_folder(const standard_change& change) {
    const std::uint64_t time = plausible(change.after.times[modified]);
    const auto before = change.before.times[modified].whole();
    const bool raised = before && *before < time && change.before.times[created] == change.after.times[created];
    return raised && change.after.times[modified] == change.after.times[mft_changed] ? time : 0;
}

// The time that a write gives to a file's new name: the time that its record changed, and in another transaction
// nothing else.
std::uint64_t time_of_name(const record_change& record, const standard_change& change, bool same_transaction) {
    const std::uint64_t time = plausible(change.after.times[mft_changed]);
    const auto before = change.before.times[mft_changed].whole();
    if (!before || *before >= time) return 0;
    if (same_transaction) return time;
    if (record.attribute_count != 0 || *record.before != *record.after) return 0;
    standard_information expected = change.before;
    expected.times[mft_changed] = change.after.times[mft_changed];
    expected.usn = change.after.usn;
    return expected == change.after ? time : 0;
}

bool sets_modification(const standard_change* change) {
    return change != nullptr && change->before.times[modified] != change->after.times[modified];
}

}  // namespace

// Gathers what is known of the clock, and holds what it takes to do that.
class log_clock::finder {
public:
    finder(log_clock& clock, const log_store& log, const log_facts& facts, const std::vector<stated_time>& stated)
        : m_clock(clock), m_log(log), m_history(clock.m_history), m_facts(facts), m_stated(stated) {
        if (m_history.gaps()) m_gaps = *m_history.gaps();
    }

    void run() {
        list_changes();
        uni::try_reserve(m_folder_names, m_facts.all().size());
        constexpr std::uint32_t soon = 8;
        for (std::uint32_t number = 0; number < m_facts.transaction_count(); ++number) {
            m_facts.prefetch(number + soon);
            add(m_facts.of_transaction(number));
        }
        order(m_file_names);
        follow(m_file_names, false);
        std::erase_if(m_changes, [this](const listed_change& one) {
            const record_change& change = m_history.changes()[one.change];
            const standard_change* const standard = m_history.standard_of(change);
            return standard != nullptr ? !sets_modification(standard) : !change.is_birth() && !change.is_end();
        });
        order(m_folder_names);
        follow(m_folder_names, true);
        note_changed_names();
        m_file_names = m_folder_names = name_list();
        m_changes = std::vector<listed_change>();
        settle();
    }

private:
    // A transaction adds a name to a folder or takes one from it; or it renames a file.
    struct name_change {
        std::uint64_t lsn = 0;
        std::uint32_t number = 0;  // of the file record of the folder, or of the file
        std::uint32_t transaction = 0;

        std::pair<std::uint64_t, std::uint64_t> place() const { return {number, lsn}; }
    };
    using name_list = std::vector<name_change>;  // by file record, then LSN

    // An index entry that came or went.
    struct index_change {
        inode_ref file;
        std::uint64_t lsn = 0;
        file_name_view name;
        bool added = false;
    };

    // A change of a file record, by its first log record.
    struct listed_change {
        std::uint64_t lsn = 0;
        std::uint32_t number = 0;  // of the file record
        std::uint32_t change = 0;  // of the history

        std::pair<std::uint64_t, std::uint64_t> place() const { return {number, lsn}; }
    };

    struct found_time {
        std::uint64_t lsn = 0;
        std::uint64_t ticks = 0;
        std::uint32_t transaction = 0;
        event_clock clock = event_clock::not_before;
    };

    std::uint64_t lsn_of(std::uint32_t position) const { return m_log.entries[position].this_lsn(); }

    void list_changes() {
        m_changes.reserve(m_history.changes().size());
        for (const std::uint32_t at : m_history.by_number()) {
            const record_change& change = m_history.changes()[at];
            if (!change.rolled_back) m_changes.push_back({lsn_of(change.first), change.number, at});
        }
    }

    void add(const transaction_facts& transaction) {
        m_entries.clear();
        for (const log_fact& fact : transaction.facts) {
            if (fact.rolled_back || fact.is_journal_record()) continue;
            m_entries.push_back({fact.file, lsn_of(fact.position), fact.name(), fact.kind == fact_kind::entry_added});
        }
        if (m_entries.size() > 1) {
            std::ranges::stable_sort(m_entries, [](const index_change& a, const index_change& b) {
                if (a.file != b.file) return a.file.by_number() < b.file.by_number();
                return compare_links(a.name, b.name) < 0;
            });
        }
        add_names(transaction.number);
    }

    void add_names(std::uint32_t transaction) {
        const std::size_t first_file = m_file_names.size();
        const std::size_t first_folder = m_folder_names.size();
        for (auto begin = m_entries.begin(); begin != m_entries.end();) {
            const auto end = std::find_if(begin, m_entries.end(),
                                          [begin](const index_change& entry) { return entry.file != begin->file; });
            std::uint64_t added = 0;
            bool removed = false;
            bool moved_only = true;  // within the index
            for (auto entry = begin; entry != end; ++entry) {
                add_name(m_folder_names, entry->name.parent(), entry->lsn, transaction);
                added = entry->added ? std::max(added, entry->lsn) : added;
                removed = removed || !entry->added;
                const bool has_twin =
                    (entry != begin && compare_links(std::prev(entry)->name, entry->name) == 0) ||
                    (std::next(entry) != end && compare_links(std::next(entry)->name, entry->name) == 0);
                moved_only = moved_only && has_twin;
            }
            if (added != 0 && removed && !moved_only) add_name(m_file_names, begin->file, added, transaction);
            begin = end;
        }
        keep_last(m_file_names, first_file);
        keep_last(m_folder_names, first_folder);
    }

    // No change is of a file record with a higher number.
    static void add_name(name_list& names, inode_ref file, std::uint64_t lsn, std::uint32_t transaction) {
        if (file.number() > std::numeric_limits<std::uint32_t>::max()) return;
        names.push_back({lsn, static_cast<std::uint32_t>(file.number()), transaction});
    }

    // Of each folder and file the last one of a transaction counts.
    static void keep_last(name_list& names, std::size_t first) {
        const auto begin = names.begin() + static_cast<std::ptrdiff_t>(first);
        if (names.end() - begin < 2) return;
        std::sort(begin, names.end(), [](const name_change& a, const name_change& b) {
            return std::tie(a.number, b.lsn) < std::tie(b.number, a.lsn);
        });
        const auto same = [](const name_change& a, const name_change& b) { return a.number == b.number; };
        names.erase(std::unique(begin, names.end(), same), names.end());
    }

    // From the order of transactions.
    static void order(name_list& names) {
        uni::radix_sort(names, [](const name_change& change) { return change.number; });
        for (auto begin = names.begin(); begin != names.end();) {
            const auto end = std::find_if(
                begin, names.end(), [begin](const name_change& change) { return change.number != begin->number; });
            std::ranges::sort(begin, end, {}, &name_change::lsn);
            begin = end;
        }
    }

    void follow(const name_list& names, bool of_folders) {
        auto next = m_changes.begin();
        for (std::size_t at = 0; at < names.size(); ++at) {
            const bool has_next = at + 1 != names.size() && names[at + 1].number == names[at].number;
            while (next != m_changes.end() && next->place() <= names[at].place())
                ++next;
            const record_change* const write = write_around(next, names[at]);
            if (write != nullptr) follow(names[at], *write, has_next ? names[at + 1].lsn : never, of_folders);
        }
    }

    // The write of the times of folder or file in the same transaction, else the next one of the folder's, or the next
    // change of the file's record if it is one. Null for none.
    const record_change* write_around(std::vector<listed_change>::const_iterator next,
                                      const name_change& change) const {
        const auto gives_time = [&change](const record_change& write) {
            return write.number == change.number && write.standard != 0 && !write.is_birth() && !write.is_end();
        };
        if (next != m_changes.begin()) {
            const record_change& before = m_history.changes()[std::prev(next)->change];
            if (before.transaction == change.transaction && gives_time(before)) return &before;
        }
        if (next == m_changes.end()) return nullptr;
        const record_change& after = m_history.changes()[next->change];
        return gives_time(after) ? &after : nullptr;
    }

    // Where the name is not the last one that changed before the write that gives the time, or what came between is
    // lost, the change was not after that time.
    void follow(const name_change& change, const record_change& write, std::uint64_t next_lsn, bool of_folder) {
        const standard_change& standard = *m_history.standard_of(write);
        const std::uint64_t time = of_folder ? time_of_folder(standard)
                                             : time_of_name(write, standard, write.transaction == change.transaction);
        const std::uint64_t write_lsn = lsn_of(write.first);
        if (time == 0 || !fits(time, change.lsn)) return;
        if (next_lsn > write_lsn && !has_gap(change.lsn, write_lsn)) {
            m_found.push_back(
                {change.lsn, time, change.transaction, of_folder ? event_clock::folder : event_clock::record});
        }
        std::uint64_t& limit = m_clock.m_limits[change.transaction];
        limit = limit == 0 ? time : std::min(limit, time);
    }

    bool has_gap(std::uint64_t from, std::uint64_t to) const {
        const auto gap = std::ranges::lower_bound(m_gaps, from, {}, &lsn_gap::before);
        return gap != m_gaps.end() && gap->before < to;
    }

    // Whether the system's own times leave room for it. Between two of which the later is the lower, the clock was set
    // back.
    bool fits(std::uint64_t ticks, std::uint64_t lsn) const {
        const auto next = std::ranges::lower_bound(m_stated, lsn, {}, &stated_time::lsn);
        const bool ends = next == m_stated.end();
        const bool begins = next == m_stated.begin();
        const std::uint64_t high = ends ? never : next->ticks;
        const std::uint64_t low = begins ? 0 : std::prev(next)->ticks;
        if (ends) return !begins && ticks >= low && ticks - low <= one_day;
        const bool is_late = !is_set_back(low, ticks);
        const bool is_early = !is_set_back(ticks, high);
        return is_set_back(low, high) ? is_late || is_early : is_late && is_early;
    }

    // Of the changes that write the times of folders; both lists are by file record.
    void note_changed_names() {
        m_clock.m_names_changed.resize(m_history.changes().size());
        auto name = m_folder_names.cbegin();
        auto write = m_changes.cbegin();
        for (const std::uint32_t at : m_history.by_number()) {
            const record_change& change = m_history.changes()[at];
            if (!sets_modification(m_history.standard_of(change))) continue;
            while (name != m_folder_names.cend() && name->number < change.number)
                ++name;
            while (write != m_changes.cend() && write->number < change.number)
                ++write;
            m_clock.m_names_changed[at] =
                names_changed(change, {name, m_folder_names.cend()}, {write, m_changes.cend()});
        }
    }

    bool names_changed(const record_change& folder, std::span<const name_change> names,
                       std::span<const listed_change> writes) const {
        const auto key = [](const auto& one) { return one.place(); };
        const std::uint64_t number = folder.number;
        const auto next_name = std::ranges::lower_bound(names, std::pair(number, lsn_of(folder.last)), {}, key);
        if (next_name == names.begin()) return false;
        const auto write = std::ranges::lower_bound(writes, std::pair(number, lsn_of(folder.first)), {}, key);
        if (write == writes.begin()) return true;
        return std::prev(next_name)->lsn > lsn_of(m_history.changes()[std::prev(write)->change].last);
    }

    void settle() {
        const auto place = [](const auto& one) { return std::pair(one.lsn, one.ticks); };
        std::ranges::sort(m_found, {}, place);
        keep_agreeing();
        auto stated = m_stated.begin();
        m_clock.m_moments.reserve(m_stated.size() + m_found.size());
        for (const found_time& one : m_found) {
            for (; stated != m_stated.end() && place(*stated) <= place(one); ++stated)
                m_clock.m_moments.push_back({stated->lsn, stated->ticks});
            m_clock.m_moments.push_back({one.lsn, one.ticks});
            take(one.transaction, one.ticks, one.clock);
        }
        for (; stated != m_stated.end(); ++stated)
            m_clock.m_moments.push_back({stated->lsn, stated->ticks});
        for (const stated_time& one : m_stated)
            take(one.transaction, one.ticks, one.of_journal ? event_clock::journal : event_clock::record);
    }

    void take(std::uint32_t transaction, std::uint64_t ticks, event_clock clock) {
        std::uint64_t& own = m_clock.m_own[transaction];
        event_clock& known_by = m_clock.m_clocks[transaction];
        if (own != 0 && (clock > known_by || (clock == known_by && ticks <= own))) return;
        own = ticks;
        known_by = clock;
    }

    void keep_agreeing() {
        std::vector<found_time> kept;
        for (std::size_t begin = 0; begin < m_found.size();) {
            const auto next = std::ranges::lower_bound(m_stated, m_found[begin].lsn, {}, &stated_time::lsn);
            std::size_t end = begin + 1;
            while (end < m_found.size() && (next == m_stated.end() || m_found[end].lsn <= next->lsn))
                ++end;
            if (end == begin + 1) {
                kept.push_back(m_found[begin]);
            } else {
                keep_agreeing(begin, end, kept);
            }
            begin = end;
        }
        m_found = std::move(kept);
    }

    // Of times between two that the system states as many as can be so that none falls.
    void keep_agreeing(std::size_t begin, std::size_t end, std::vector<found_time>& kept) const {
        constexpr std::size_t none = ~std::size_t{0};
        std::vector<std::size_t> ends;  // by length: where the run with the lowest last time ends
        std::vector<std::size_t> previous(end - begin, none);
        for (std::size_t at = begin; at < end; ++at) {
            const auto longer = std::ranges::upper_bound(ends, m_found[at].ticks, {},
                                                         [this](std::size_t one) { return m_found[one].ticks; });
            if (longer != ends.begin()) previous[at - begin] = *std::prev(longer);
            if (longer == ends.end()) {
                ends.push_back(at);
            } else {
                *longer = at;
            }
        }
        const std::size_t first = kept.size();
        for (std::size_t at = ends.back(); at != none; at = previous[at - begin])
            kept.push_back(m_found[at]);
        std::reverse(kept.begin() + static_cast<std::ptrdiff_t>(first), kept.end());
    }

    log_clock& m_clock;
    const log_store& m_log;
    const file_history& m_history;
    const log_facts& m_facts;
    const std::vector<stated_time>& m_stated;  // by LSN: what the system states
    std::span<const lsn_gap> m_gaps;
    std::vector<listed_change> m_changes;  // by file record, then LSN; at last those that write a folder's times
    std::vector<index_change> m_entries;   // of one transaction, by file and name
    name_list m_file_names;
    name_list m_folder_names;
    std::vector<found_time> m_found;  // by LSN: what follows from writes that came later
};

log_clock::log_clock(const log_store& log, const log_facts& facts, const file_history& history,
                     const std::vector<stated_time>& stated)
    : m_history(history),
      m_own(log.chain_heads.size()),
      m_clocks(log.chain_heads.size()),
      m_limits(log.chain_heads.size()),
      m_changes_by_lsn(find_clock_changes(stated)),
      m_changes_by_transaction(m_changes_by_lsn) {
    std::ranges::stable_sort(m_changes_by_transaction, {},
                             [](const clock_change& change) { return change.after.transaction; });
    finder(*this, log, facts, stated).run();
}

std::uint64_t log_clock::lower(std::uint64_t lsn) const {
    const auto next = std::ranges::lower_bound(m_moments, lsn, {}, &moment::lsn);
    return next == m_moments.begin() ? 0 : std::prev(next)->ticks;
}

std::uint64_t log_clock::upper(std::uint64_t lsn) const {
    const auto next = std::ranges::lower_bound(m_moments, lsn, {}, &moment::lsn);
    return next == m_moments.end() ? never : next->ticks;
}

event_time log_clock::time_at(std::uint64_t lsn) const {
    const std::uint64_t low = lower(lsn);
    const std::uint64_t high = upper(lsn);
    if (is_set_back(low, high)) return {};  // before it or after
    return {low, high == never ? 0 : std::max(high, low), event_clock::not_before};
}

event_time log_clock::time_of(std::uint32_t transaction, std::uint64_t lsn) const {
    if (m_own[transaction] != 0) return {m_own[transaction], 0, m_clocks[transaction]};
    std::uint64_t low = lower(lsn);
    std::uint64_t high = upper(lsn);
    if (is_set_back(low, high)) return {};  // before it or after
    if (high < low) std::swap(low, high);   // two threads
    const std::uint64_t limit = m_limits[transaction];
    if (limit >= std::max<std::uint64_t>(low, 1)) high = std::min(high, limit);
    return {low, high == never ? 0 : high, event_clock::not_before};
}

event_time log_clock::time_of(std::uint32_t transaction, std::uint64_t lsn, std::uint64_t ticks) const {
    if (m_own[transaction] == 0 && ticks != 0 && has_passed(ticks, lsn)) return {ticks, 0, event_clock::record};
    return time_of(transaction, lsn);
}

bool log_clock::has_passed(std::uint64_t ticks, std::uint64_t lsn) const {
    const std::uint64_t high = upper(lsn);
    if (high != never) return !is_set_back(ticks, high);
    return m_moments.empty() || ticks <= m_moments.back().ticks + one_day;
}

bool log_clock::was_set_back_to(std::uint64_t ticks, std::uint64_t lsn) const {
    if (ticks == 0) return false;
    const std::vector<clock_change>& falls = m_changes_by_lsn;
    const auto next =
        std::ranges::upper_bound(falls, lsn, {}, [](const clock_change& change) { return change.after.lsn; });
    // The write may come before the first record that shows it.
    if (next != falls.end() && next->lsn_before < lsn && ticks <= next->after.ticks) return true;
    return next != falls.begin() && ticks >= std::prev(next)->after.ticks && has_passed(ticks, lsn);
}

}  // namespace kest
