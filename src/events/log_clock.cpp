#include "events/log_clock.h"

#include <algorithm>
#include <iterator>
#include <tuple>
#include <utility>

#include "events/file_changes.h"
#include "format/time.h"
#include "journal/usn_record.h"
#include "logfile/lsn_layout.h"
#include "mft/record_view.h"

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
    if (record.attribute_count != 0 || record.before != record.after) return 0;
    standard_information expected = change.before;
    expected.times[mft_changed] = change.after.times[mft_changed];
    expected.usn = change.after.usn;
    return expected == change.after ? time : 0;
}

bool by_lsn(std::uint64_t a_lsn, std::uint64_t a_ticks, std::uint64_t b_lsn, std::uint64_t b_ticks) {
    return std::tie(a_lsn, a_ticks) < std::tie(b_lsn, b_ticks);
}

}  // namespace

log_clock::log_clock(const log_store& log, const log_facts& facts, const file_history& history,
                     const std::vector<stated_time>& stated)
    : m_log(log),
      m_history(history),
      m_own(log.chain_heads.size()),
      m_limits(log.chain_heads.size()),
      m_changes_by_lsn(find_clock_changes(stated)),
      m_changes_by_transaction(m_changes_by_lsn) {
    std::ranges::stable_sort(m_changes_by_transaction, {},
                             [](const clock_change& change) { return change.after.transaction; });
    m_stated.reserve(stated.size());
    for (const stated_time& one : stated) {
        const event_clock clock = one.of_journal ? event_clock::journal : event_clock::record;
        m_stated.push_back({one.lsn, one.ticks, one.transaction, clock});
    }
    if (history.gaps()) m_gaps = *history.gaps();
    list_changes();
    for (std::uint32_t number = 0; number < facts.transaction_count(); ++number)
        add(facts.of_transaction(number));
    seal();
}

void log_clock::list_changes() {
    m_changes.reserve(m_history.changes().size());
    for (const record_change& change : m_history.changes()) {
        if (!change.rolled_back) m_changes.push_back({change.number, lsn_of(change.first), &change});
    }
    std::ranges::sort(m_changes, {}, &listed_change::place);
    m_writes.reserve(m_changes.size());
    std::ranges::copy_if(m_changes, std::back_inserter(m_writes), [this](const listed_change& one) {
        const standard_change* const standard = m_history.standard_of(*one.change);
        if (standard == nullptr) return one.change->is_birth() || one.change->is_end();
        return standard->before.times[modified] != standard->after.times[modified];
    });
}

void log_clock::add(const transaction_facts& transaction) {
    m_entries.clear();
    for (const log_fact& fact : transaction.facts) {
        if (fact.rolled_back || fact.is_journal_record()) continue;
        m_entries.push_back({fact.file, lsn_of(fact.position), fact.name(), fact.kind == fact_kind::entry_added});
    }
    std::ranges::stable_sort(m_entries, [](const index_change& a, const index_change& b) {
        if (a.file != b.file)
            return a.file.number() != b.file.number() ? a.file.number() < b.file.number() : a.file < b.file;
        return compare_links(a.name, b.name) < 0;
    });
    add_names(transaction.number);
}

void log_clock::add_names(std::uint32_t transaction) {
    const auto first = static_cast<std::ptrdiff_t>(m_names.size());
    for (auto begin = m_entries.begin(); begin != m_entries.end();) {
        const auto end = std::find_if(begin, m_entries.end(),
                                      [begin](const index_change& entry) { return entry.file != begin->file; });
        std::uint64_t added = 0;
        bool removed = false;
        bool moved_only = true;  // within the index
        for (auto entry = begin; entry != end; ++entry) {
            m_names.push_back({entry->name.parent().number(), entry->lsn, transaction});
            added = entry->added ? std::max(added, entry->lsn) : added;
            removed = removed || !entry->added;
            const bool has_twin = (entry != begin && compare_links(std::prev(entry)->name, entry->name) == 0) ||
                                  (std::next(entry) != end && compare_links(std::next(entry)->name, entry->name) == 0);
            moved_only = moved_only && has_twin;
        }
        if (added != 0 && removed && !moved_only) {
            m_names.push_back({begin->file.number(), added, transaction, false});
        }
        begin = end;
    }
    // Of each folder and file the last one counts.
    const auto begin = m_names.begin() + first;
    std::sort(begin, m_names.end(), [](const name_change& a, const name_change& b) {
        return std::tie(a.of_folder, a.number, b.lsn) < std::tie(b.of_folder, b.number, a.lsn);
    });
    m_names.erase(std::unique(begin, m_names.end(),
                              [](const name_change& a, const name_change& b) {
                                  return a.of_folder == b.of_folder && a.number == b.number;
                              }),
                  m_names.end());
}

void log_clock::seal() {
    const auto order = [](const moment& a, const moment& b) { return by_lsn(a.lsn, a.ticks, b.lsn, b.ticks); };
    std::ranges::sort(
        m_names, {}, [](const name_change& change) { return std::tuple(change.of_folder, change.number, change.lsn); });
    for (std::size_t at = 0; at < m_names.size(); ++at) {
        const bool has_next = at + 1 != m_names.size() && m_names[at + 1].of_folder == m_names[at].of_folder &&
                              m_names[at + 1].number == m_names[at].number;
        follow(m_names[at], has_next ? m_names[at + 1].lsn : never);
    }
    std::ranges::sort(m_found, order);
    keep_agreeing();
    m_moments.resize(m_stated.size() + m_found.size());
    std::ranges::merge(m_stated, m_found, m_moments.begin(), order);
    for (const auto* const list : {&m_found, &m_stated}) {
        for (const moment& one : *list) {
            moment& own = m_own[one.transaction];
            if (own.ticks == 0 || one.clock < own.clock || (one.clock == own.clock && one.ticks > own.ticks)) own = one;
        }
    }
}

// Finds the write that gives the time of a change of names. Where the name is not the last one that changed before
// it, or what came between is lost, the change was not after that time.
void log_clock::follow(const name_change& change, std::uint64_t next_lsn) {
    const record_change* const write = next_write(change);
    if (write == nullptr) return;
    const standard_change& standard = *m_history.standard_of(*write);
    const std::uint64_t time = change.of_folder
                                   ? time_of_folder(standard)
                                   : time_of_name(*write, standard, write->transaction == change.transaction);
    const std::uint64_t write_lsn = lsn_of(write->first);
    if (time == 0 || !fits(time, change.lsn)) return;
    if (next_lsn > write_lsn && !has_gap(change.lsn, write_lsn)) {
        m_found.push_back(
            {change.lsn, time, change.transaction, change.of_folder ? event_clock::folder : event_clock::record});
    }
    std::uint64_t& limit = m_limits[change.transaction];
    limit = limit == 0 ? time : std::min(limit, time);
}

// The write of the times of folder or file in the same transaction, else the next one of the folder's, or the next
// change of the file's record if it is one.
const record_change* log_clock::next_write(const name_change& change) const {
    const std::vector<listed_change>& asked = change.of_folder ? m_writes : m_changes;
    const auto next = std::ranges::upper_bound(asked, std::pair(change.number, change.lsn), {}, &listed_change::place);
    const auto gives_time = [&change](const record_change& write) {
        return write.number == change.number && write.standard != 0 && !write.is_birth() && !write.is_end();
    };
    if (next != asked.begin()) {
        const record_change& before = *std::prev(next)->change;
        if (before.transaction == change.transaction && gives_time(before)) return &before;
    }
    return next != asked.end() && gives_time(*next->change) ? next->change : nullptr;
}

bool log_clock::has_gap(std::uint64_t from, std::uint64_t to) const {
    const auto gap = std::ranges::lower_bound(m_gaps, from, {}, &lsn_gap::before);
    return gap != m_gaps.end() && gap->before < to;
}

// Whether the system's own times leave room for it. Between two of which the later is the lower, the clock was set
// back.
bool log_clock::fits(std::uint64_t ticks, std::uint64_t lsn) const {
    const auto next = std::ranges::lower_bound(m_stated, lsn, {}, &moment::lsn);
    const bool ends = next == m_stated.end();
    const bool begins = next == m_stated.begin();
    const std::uint64_t high = ends ? never : next->ticks;
    const std::uint64_t low = begins ? 0 : std::prev(next)->ticks;
    if (ends) return !begins && ticks >= low && ticks - low <= one_day;
    const bool is_late = !is_set_back(low, ticks);
    const bool is_early = !is_set_back(ticks, high);
    return is_set_back(low, high) ? is_late || is_early : is_late && is_early;
}

void log_clock::keep_agreeing() {
    std::vector<moment> kept;
    for (std::size_t begin = 0; begin < m_found.size();) {
        const auto next = std::ranges::lower_bound(m_stated, m_found[begin].lsn, {}, &moment::lsn);
        std::size_t end = begin + 1;
        while (end < m_found.size() && (next == m_stated.end() || m_found[end].lsn <= next->lsn))
            ++end;
        keep_agreeing(begin, end, kept);
        begin = end;
    }
    m_found = std::move(kept);
}

// Of times between two that the system states as many as can be so that none falls.
void log_clock::keep_agreeing(std::size_t begin, std::size_t end, std::vector<moment>& kept) {
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
    const moment& own = m_own[transaction];
    if (own.ticks != 0) return {own.ticks, 0, own.clock};
    std::uint64_t low = lower(lsn);
    std::uint64_t high = upper(lsn);
    if (is_set_back(low, high)) return {};  // before it or after
    if (high < low) std::swap(low, high);   // two threads
    const std::uint64_t limit = m_limits[transaction];
    if (limit >= std::max<std::uint64_t>(low, 1)) high = std::min(high, limit);
    return {low, high == never ? 0 : high, event_clock::not_before};
}

event_time log_clock::time_of(std::uint32_t transaction, std::uint64_t lsn, std::uint64_t ticks) const {
    if (m_own[transaction].ticks == 0 && ticks != 0 && has_passed(ticks, lsn)) return {ticks, 0, event_clock::record};
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

bool log_clock::names_changed(const record_change& folder) const {
    const std::uint64_t lsn = lsn_of(folder.last);
    const auto key = [](const name_change& change) { return std::tuple(change.of_folder, change.number, change.lsn); };
    const auto next_name =
        std::ranges::lower_bound(m_names, std::tuple(true, std::uint64_t{folder.number}, lsn), {}, key);
    if (next_name == m_names.begin()) return false;
    const name_change& name = *std::prev(next_name);
    if (!name.of_folder || name.number != folder.number) return false;
    const auto write = std::ranges::lower_bound(m_writes, std::pair(std::uint64_t{folder.number}, lsn_of(folder.first)),
                                                {}, &listed_change::place);
    if (write == m_writes.begin() || std::prev(write)->number != folder.number) return true;
    return name.lsn > lsn_of(std::prev(write)->change->last);
}

}  // namespace kest
