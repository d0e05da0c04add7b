#include "coverage/coverage.h"

#include <algorithm>

#include "coverage/logged_facts.h"
#include "format/time.h"
#include "history/file_history.h"
#include "logfile/volume_geometry.h"

namespace kest {

namespace {

void gather_restart_pages(log_coverage& coverage, const log_store& log) {
    for (std::size_t at = 0; at < coverage.restart.size(); ++at) {
        const std::span<const std::uint8_t> image = log.restart_pages[at];
        if (const auto facts = read_restart_page(image)) {
            coverage.restart[at] = {.torn = coverage.pages.restart_torn[at], .facts = *facts};
        }
    }
    const auto& [first, second] = coverage.restart;
    if (first && second) coverage.restart_agree = first->facts == second->facts;
}

void gather_records(log_coverage& coverage, const log_store& log, const transaction_states& states,
                    const log_facts& facts) {
    coverage.records_stored = log.entries.size();
    coverage.transactions = tally_transactions(log, states);
    const transaction_tally& tally = coverage.transactions;
    coverage.records_distinct = tally.records_of_whole + tally.records_of_cut + tally.records_of_none;
    for (const log_entry& entry : log.entries)
        coverage.lsns.add(entry.this_lsn());
    const volume_geometry geometry = find_volume_geometry(log);
    coverage.cluster_size = geometry.voted_cluster;
    coverage.cluster_size_fit = fit_text(geometry);
    const mft_geometry sizes{geometry.cluster_size(), geometry.record_size()};
    coverage.clock_changes = find_clock_changes(find_stated_times(log, states, facts, sizes));
}

void gather_pages(log_coverage& coverage, const log_store& log) {
    coverage.read_to_end = !log.incomplete;
    if (log.pages) coverage.pages = *log.pages;
    if (coverage.read_to_end) coverage.never_written = coverage.pages.blank + coverage.pages.not_read();
    gather_restart_pages(coverage, log);
    if (const auto layout = find_layout(log)) {
        coverage.copied_pages = count_copied_pages(log, *layout);
        coverage.gaps.emplace();
        for (const lsn_gap& gap : find_gaps(log, *layout))
            coverage.gaps->push_back({.lsns = gap});
    }
}

// Times of last change reach the log a while after they were set, so those nearest to a gap need not be the last and
// the first. They are taken only where a clock that was set back, or a time that a program set, leaves no order.
void find_gap_times(std::vector<gap_coverage>& gaps, std::vector<logged_time>& times) {
    std::ranges::stable_sort(times, {}, &logged_time::lsn);
    std::vector<std::uint64_t> last(times.size()), first(times.size());  // up to each time, and from it on
    std::uint64_t reached = 0;
    for (std::size_t at = 0; at < times.size(); ++at)
        last[at] = reached = std::max(reached, times[at].time);
    for (std::size_t at = times.size(); at-- > 0;)
        first[at] = reached = std::min(reached, times[at].time);
    for (gap_coverage& gap : gaps) {
        const auto after = static_cast<std::size_t>(
            std::ranges::lower_bound(times, gap.lsns.after, {}, &logged_time::lsn) - times.begin());
        if (after != 0) gap.time_before = last[after - 1];
        if (after != times.size()) gap.time_after = first[after];
        if (after == 0 || after == times.size() || gap.time_before <= gap.time_after) continue;
        gap.time_before = times[after - 1].time;
        gap.time_after = times[after].time;
    }
}

// `logged` are the journal records in the log.
void gather_times(log_coverage& coverage, const log_store& log, const std::vector<logged_usn>& logged) {
    std::vector<logged_time> times = logged_change_times(log);
    for (const logged_time& change : times)
        coverage.record_times.add(change.time);
    for (const logged_usn& record : logged) {
        coverage.journal_usns.add(record.usn);
        if (!cv::has_calendar_form(record.time)) continue;
        coverage.journal_times.add(record.time);
        times.push_back({.lsn = record.lsn, .time = record.time});
    }
    if (coverage.gaps) find_gap_times(*coverage.gaps, times);
}

copy_tally compare_replayed(const evidence& stores, const transaction_states& states, const log_facts& facts) {
    copy_tally tally;
    tally.uncompared = compare_copies({.log = stores.log,
                                       .rolled_back = states.rolled_back,
                                       .facts = facts,
                                       .inodes = stores.inodes,
                                       .geometry = find_volume_geometry(stores.log),
                                       .check = [&tally](const copied_record&, const copy_comparison& found) {
                                           ++tally.compared;
                                           ++(found.differs ? tally.differing : tally.equal);
                                       }});
    return tally;
}

mft_coverage gather_mft(const evidence& stores, const std::vector<logged_usn>& logged, const transaction_states& states,
                        const log_facts& facts) {
    mft_coverage found;
    found.fit = compare_mft(stores, logged);
    found.replayed = compare_replayed(stores, states, facts);
    for (const inode_record& record : stores.inodes.records) {
        ++found.records;
        if (record.lsn != 0) found.lsns.add(record.lsn);
        if (!record.in_use) continue;
        ++found.in_use;
        if (cv::has_calendar_form(record.si_times.mft_changed)) found.times.add(record.si_times.mft_changed);
        if (record.usn != 0) found.usns.add(record.usn);
    }
    return found;
}

// Reads the journal file by itself: what rows look up in it leaves out records of version 3 and that of USN 0.
class journal_survey {
public:
    journal_survey(const log_store& log, const std::vector<logged_usn>& logged) : m_log(log), m_logged(logged) {}

    journal_coverage run(usn_journal& journal) {
        journal_cursor cursor(*journal.file, journal.resync);
        while (const journal_record* const record = cursor.next())
            add(record->usn);
        journal.reading = cursor.reading();
        m_found.records = journal.reading.records;
        m_found.unread_bytes = journal.reading.unread_bytes;
        const value_range& usns = m_found.usns;
        if (usns.any) compare_usns(m_found.fit, usns.lowest, usns.highest, m_log, m_logged);
        return std::move(m_found);
    }

private:
    void add(const usn_record& record) {
        const std::uint64_t usn = record.get(&usn_layout::usn);
        const std::uint64_t time = record.get(&usn_layout::time);
        m_found.usns.add(usn);
        if (cv::has_calendar_form(time)) m_found.times.add(time);
        const auto logged = std::ranges::lower_bound(m_logged, usn, {}, &logged_usn::usn);
        if (logged == m_logged.end() || logged->usn != usn) return;
        ++(logged->is(record) ? m_found.fit.agree : m_found.fit.differ);
    }

    const log_store& m_log;
    const std::vector<logged_usn>& m_logged;
    journal_coverage m_found;
};

}  // namespace

void value_range::add(std::uint64_t value) {
    lowest = any ? std::min(lowest, value) : value;
    highest = std::max(highest, value);
    any = true;
}

log_coverage gather_coverage(evidence& stores, const logfile_options& options, std::string_view log_path) {
    log_coverage coverage;
    coverage.path = log_path;
    coverage.choice = options.selection.text();
    coverage.volume = options.volume;
    const transaction_states states = find_transaction_states(stores.log);
    const volume_geometry geometry = find_volume_geometry(stores.log);
    const log_facts facts(stores.log, states, {geometry.cluster_size(), geometry.record_size()});
    gather_records(coverage, stores.log, states, facts);
    gather_pages(coverage, stores.log);
    const std::vector<logged_usn> logged = logged_journal_records(stores.log);
    gather_times(coverage, stores.log, logged);
    if (options.mft.given()) {
        coverage.mft = gather_mft(stores, logged, states, facts);
        coverage.mft->path = options.mft.path;
    }
    if (options.journal.given()) {
        coverage.journal = journal_survey(stores.log, logged).run(stores.journal);
        coverage.journal->path = options.journal.path;
    }
    return coverage;
}

}  // namespace kest
