#include "report/coverage.h"

#include <algorithm>

#include "format/number.h"
#include "format/time.h"
#include "logfile/mft_place.h"
#include "logfile/operation.h"
#include "logfile/told_sizes.h"
#include "portable/utf16.h"
#include "report/logged_facts.h"

namespace kest {

namespace {

using namespace operation_code;

constexpr std::string_view fits = "fits";

// Operations whose target is a file record, and none of an index buffer or of other clusters.
bool targets_file_record(const log_entry& entry) {
    constexpr std::uint16_t operations[] = {
        initialize_file_record_segment,
        deallocate_file_record_segment,
        write_end_of_file_record_segment,
        create_attribute,
        delete_attribute,
        update_resident_value,
        update_mapping_pairs,
        set_new_attribute_sizes,
        add_index_entry_root,
        delete_index_entry_root,
        set_index_entry_vcn_root,
        update_file_name_root,
        update_record_data_root,
        zero_end_of_file_record,
    };
    return entry.get(record_layout::record_type) == record_types::client &&
           std::ranges::find(operations, entry.redo_op) != std::end(operations);
}

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

void gather_records(log_coverage& coverage, const log_store& log) {
    coverage.records_stored = log.entries.size();
    coverage.transactions = tally_transactions(log, find_transaction_states(log));
    const transaction_tally& tally = coverage.transactions;
    coverage.records_distinct = tally.records_of_whole + tally.records_of_cut + tally.records_of_none;
    for (const log_entry& entry : log.entries)
        coverage.lsns.add(entry.this_lsn);
    for (const std::uint64_t time : logged_change_times(log))
        coverage.record_times.add(time);
    coverage.cluster_size = find_told_sizes(log).cluster;
}

void gather_pages(log_coverage& coverage, const log_store& log) {
    coverage.read_to_end = !log.incomplete;
    if (log.pages) coverage.pages = *log.pages;
    if (coverage.read_to_end) coverage.never_written = coverage.pages.blank + coverage.pages.not_read();
    gather_restart_pages(coverage, log);
    if (const auto layout = stated_layout(log)) {
        coverage.copied_pages = count_copied_pages(log, *layout);
        coverage.gaps = find_gaps(log, *layout);
    }
}

class mft_comparison {
public:
    mft_comparison(const log_coverage& coverage, const evidence& stores, const std::vector<logged_usn>& logged)
        : m_stores(stores),
          m_logged(logged),
          m_place{.record_size = stores.inodes.record_size},
          m_by_lsn(index_entries(stores.log, &log_entry::this_lsn)) {
        m_cluster_known = coverage.cluster_size.has_value();
        if (m_cluster_known) m_place.cluster_size = *coverage.cluster_size;
        m_highest = coverage.lsns.highest;
        for (const auto& restart : coverage.restart) {
            if (restart) m_highest = std::max(m_highest, restart->facts.current_lsn.value_or(0));
        }
    }

    void compare(const inode_record& record, mft_fit& fit) const {
        if (record.lsn > m_highest) ++fit.above;
        compare_place(record, fit);
        compare_name(record, fit);
    }

private:
    void compare_place(const inode_record& record, mft_fit& fit) const {
        const auto position = m_by_lsn.find(record.lsn);
        if (!position) return;
        const log_entry& entry = m_stores.log.entries[*position];
        if (!m_cluster_known && entry.get(record_layout::target_vcn) != 0) return;
        if (targets_file_record(entry) && file_record_at(entry, m_place) == record.inode) {
            ++fit.agree;
        } else {
            ++fit.wrong_place;
        }
    }

    // A file with several names is in the journal by any of them.
    void compare_name(const inode_record& record, mft_fit& fit) const {
        if (record.usn == 0 || !record.is_base || !record.in_use || record.parents.size() != 1) return;
        const auto logged = std::ranges::lower_bound(m_logged, record.usn, {}, &logged_usn::usn);
        if (logged == m_logged.end() || logged->usn != record.usn || logged->file != record.ref()) return;
        if (uni::utf16_text(logged->name) != record.name) ++fit.wrong_name;
    }

    const evidence& m_stores;
    const std::vector<logged_usn>& m_logged;
    mft_place m_place;
    bool m_cluster_known = false;
    const uni::sealed_index m_by_lsn;
    std::uint64_t m_highest = 0;
};

mft_coverage gather_mft(const log_coverage& coverage, const evidence& stores, const std::vector<logged_usn>& logged) {
    mft_coverage found;
    const mft_comparison comparison(coverage, stores, logged);
    for (const inode_record& record : stores.inodes.records) {
        ++found.records;
        if (record.lsn != 0) found.lsns.add(record.lsn);
        comparison.compare(record, found.fit);
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
    explicit journal_survey(const std::vector<logged_usn>& logged) : m_logged(logged) {}

    journal_coverage run(usn_journal& journal) {
        for_each_journal_block(journal, [this](uni::byte_view block, std::uint64_t) {
            for_each_usn_record(block, [this](const usn_record& record, uni::byte_view, std::size_t) { add(record); });
        });
        if (!m_logged.empty() && m_found.usns.any) {
            m_found.fit.behind = m_found.usns.lowest > m_logged.back().usn;
            m_found.fit.ahead = m_found.usns.highest < m_logged.front().usn;
        }
        return std::move(m_found);
    }

private:
    void add(const usn_record& record) {
        ++m_found.records;
        const std::uint64_t usn = record.get(&usn_layout::usn);
        const std::uint64_t time = record.get(&usn_layout::time);
        m_found.usns.add(usn);
        if (cv::has_calendar_form(time)) m_found.times.add(time);
        const auto told = std::ranges::lower_bound(m_logged, usn, {}, &logged_usn::usn);
        if (told == m_logged.end() || told->usn != usn) return;
        const bool same =
            record.file() == told->file && time == told->time && record.get(&usn_layout::reason) == told->reason;
        ++(same ? m_found.fit.agree : m_found.fit.differ);
    }

    const std::vector<logged_usn>& m_logged;
    journal_coverage m_found;
};

void append_joined(std::string& out, std::string_view words) {
    if (!out.empty()) out += "; ";
    out += words;
}

void append_reason(std::string& out, std::uint64_t count, std::string_view words) {
    if (count != 0) append_joined(out, format_number(count, false).append(words));
}

}  // namespace

void value_range::add(std::uint64_t value) {
    lowest = any ? std::min(lowest, value) : value;
    highest = std::max(highest, value);
    any = true;
}

log_coverage gather_coverage(evidence& stores, const logfile_options& options, std::string_view log_path) {
    log_coverage coverage;
    coverage.path = log_path;
    gather_records(coverage, stores.log);
    gather_pages(coverage, stores.log);
    const std::vector<logged_usn> logged = logged_journal_records(stores.log);
    for (const logged_usn& told : logged) {
        coverage.journal_times.add(told.time);
        coverage.journal_usns.add(told.usn);
    }
    if (!options.mft_path.empty()) {
        coverage.mft = gather_mft(coverage, stores, logged);
        coverage.mft->path = options.mft_path;
    }
    if (!options.jrnl_path.empty()) {
        coverage.journal = journal_survey(logged).run(stores.journal);
        coverage.journal->path = options.jrnl_path;
    }
    return coverage;
}

std::string fit_text(const mft_fit& fit) {
    std::string out;
    append_reason(out, fit.above, " with an LSN above the log's");
    append_reason(out, fit.wrong_place, " with the LSN of a record about another file");
    append_reason(out, fit.wrong_name, " with another name than in the log");
    if (out.empty() && fit.agree != 0) out = fits;
    return out;
}

std::string fit_text(const journal_fit& fit) {
    std::string out;
    append_reason(out, fit.differ, " differ from the log's of the same USN");
    if (fit.behind) append_joined(out, "begins behind the log's last USN");
    if (fit.ahead) append_joined(out, "ends ahead of the log's first USN");
    if (out.empty() && fit.agree != 0) out = fits;
    return out;
}

}  // namespace kest
