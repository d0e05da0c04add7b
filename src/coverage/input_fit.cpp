#include "coverage/input_fit.h"

#include <algorithm>
#include <span>

#include "format/number.h"
#include "journal/journal_probe.h"
#include "logfile/operation.h"
#include "logfile/restart_page.h"
#include "logfile/volume_geometry.h"
#include "mft/record_layout.h"
#include "options/warning_line.h"
#include "portable/unicode.h"

namespace kest {

namespace {

constexpr std::string_view word_for_fit = "fits";
constexpr std::size_t most_samples = 64;  // of a journal file's records

bool targets_file_record(const log_entry& entry) {
    return entry.of_client() && target_of(entry.redo_op()) == operation_target::file_record;
}

// Such a record has journal records beside it wherever the volume has a journal.
bool makes_file(const log_entry& entry) {
    return entry.redo_op() == operation_code::initialize_file_record_segment && entry.of_client() &&
           exact_redo(entry).get(file_record_layout::signature) == file_record_layout::file_signature;
}

class mft_comparison {
public:
    mft_comparison(const evidence& stores, const std::vector<logged_usn>& logged)
        : m_log(stores.log),
          m_logged(logged),
          m_geometry{.record_size = stores.inodes.record_size},
          m_by_lsn(index_entries(stores.log, &log_entry::this_lsn)) {
        const auto cluster_size = find_voted_sizes(m_log).cluster;
        m_cluster_known = cluster_size.has_value();
        if (m_cluster_known) m_geometry.cluster_size = *cluster_size;
        const auto& records = m_by_lsn.entries();
        if (!records.empty()) {
            m_first = records.front().key;
            m_last = m_last_record = records.back().key;
        }
        for (const auto& page : m_log.restart_pages) {
            const auto facts = read_restart_page(std::span<const std::uint8_t>(page));
            if (facts) m_last = std::max(m_last, facts->current_lsn.value_or(0));
        }
    }

    mft_fit compare(const _inode_collection& inodes) const {
        mft_fit fit;
        std::uint64_t highest = 0;
        bool met = false;
        for (const inode_record& record : inodes.records) {
            highest = std::max(highest, record.lsn);
            if (record.lsn > m_last) ++fit.above;
            if (record.lsn >= m_first && compare_place(record, fit)) met = true;
            compare_name(record, fit);
        }
        // What is written to the file records later shows in those of the MFT, unless it was copied before.
        if (highest != 0 && !met && std::ranges::any_of(m_log.entries, targets_file_record)) {
            fit.older = highest < m_first;
            fit.none_met = !fit.older && highest <= m_last_record;
        }
        return fit;
    }

private:
    // False if the log does not have the record that is named.
    bool compare_place(const inode_record& record, mft_fit& fit) const {
        const auto position = m_by_lsn.find(record.lsn);
        if (!position) return false;
        const log_entry& entry = m_log.entries[*position];
        if (!m_cluster_known && entry.get(record_layout::target_vcn) != 0) return true;
        if (targets_file_record(entry) && file_record_at(entry, m_geometry) == record.inode) {
            ++fit.agree;
        } else {
            ++fit.wrong_place;
        }
        return true;
    }

    // A file with several names is in the journal by any of them.
    void compare_name(const inode_record& record, mft_fit& fit) const {
        if (record.usn == 0 || m_logged.empty() || record.usn < m_logged.front().usn) return;
        if (!record.is_base || !record.in_use || record.parents.size() != 1) return;
        const auto logged = std::ranges::lower_bound(m_logged, record.usn, {}, &logged_usn::usn);
        if (logged == m_logged.end() || logged->usn != record.usn || logged->file != record.ref()) return;
        if (uni::utf16_text(logged->name) != record.name) ++fit.wrong_name;
    }

    const log_store& m_log;
    const std::vector<logged_usn>& m_logged;
    mft_geometry m_geometry;
    bool m_cluster_known = false;
    const uni::sealed_index m_by_lsn;
    std::uint64_t m_first = 0;  // LSN of the log
    std::uint64_t m_last_record = 0;
    std::uint64_t m_last = 0;  // as a restart page knows it, though the record may not be in the log
};

void append_joined(std::string& out, std::string_view words) {
    if (!out.empty()) out += "; ";
    out += words;
}

void append_reason(std::string& out, std::uint64_t count, std::string_view words) {
    if (count != 0) append_joined(out, format_number(count, false).append(words));
}

std::string misfit_line(const std::string& input, const std::string& words) {
    return warning_line("does not fit the log", input + ": " + words);
}

}  // namespace

mft_fit compare_mft(const evidence& stores, const std::vector<logged_usn>& logged) {
    return mft_comparison(stores, logged).compare(stores.inodes);
}

journal_fit sample_journal(const uni::byte_source& journal, const log_store& log,
                           const std::vector<logged_usn>& logged) {
    journal_fit fit = {.sampled = true};
    journal_probe probe(journal);
    if (!probe.any()) return fit;
    const auto begin = std::ranges::lower_bound(logged, probe.lowest_usn(), {}, &logged_usn::usn);
    const std::span<const logged_usn> inside(
        begin, std::ranges::upper_bound(begin, logged.end(), probe.highest_usn(), {}, &logged_usn::usn));
    const std::size_t step = inside.size() / most_samples + 1;
    for (std::size_t at = 0; at < inside.size(); at += step) {
        const logged_usn& wanted = inside[at];
        const std::optional<usn_record> record = probe.find(wanted.usn);
        if (record) ++(wanted.is(*record) ? fit.agree : fit.differ);
    }
    if (probe.incomplete()) return {};  // which is said in other words
    compare_usns(fit, probe.lowest_usn(), probe.highest_usn(), log, logged);
    fit.none_met = fit.none_met && probe.contiguous();
    return fit;
}

void compare_usns(journal_fit& fit, std::uint64_t lowest, std::uint64_t highest, const log_store& log,
                  const std::vector<logged_usn>& logged) {
    fit.not_logged = logged.empty() && std::ranges::any_of(log.entries, makes_file);
    if (logged.empty()) return;
    fit.after = lowest > logged.back().usn;
    fit.before = highest < logged.front().usn;
    fit.none_met = !fit.after && !fit.before && fit.agree == 0 && fit.differ == 0;
}

bool contradicts(const mft_fit& fit) {
    return fit.above != 0 || fit.wrong_place != 0 || fit.wrong_name != 0 || fit.older || fit.none_met;
}

bool contradicts(const journal_fit& fit) {
    return fit.differ != 0 || fit.after || fit.before || fit.none_met || fit.not_logged;
}

bool is_foreign(const mft_fit& fit) {
    return contradicts(fit) && fit.agree <= fit.wrong_place + fit.wrong_name;
}

bool is_foreign(const journal_fit& fit) {
    return contradicts(fit) && fit.agree <= fit.differ;
}

std::string fit_text(const mft_fit& fit) {
    std::string out;
    if (!contradicts(fit)) return fit.agree != 0 ? std::string(word_for_fit) : out;
    if (fit.older) append_joined(out, "older than the log, or of another volume");
    append_reason(out, fit.above, " with an LSN above the log's");
    append_reason(out, fit.wrong_place, " with the LSN of a record about another file");
    append_reason(out, fit.wrong_name, " with another name than in the log");
    if (fit.none_met) append_joined(out, "names no record of the log");
    return out;
}

std::string fit_text(const journal_fit& fit) {
    std::string out;
    if (!contradicts(fit)) return fit.agree != 0 ? std::string(word_for_fit) : out;
    constexpr std::string_view differ = " differ from the log's of the same USN";
    if (fit.sampled && fit.differ != 0) append_joined(out, std::string("records").append(differ));
    if (!fit.sampled) append_reason(out, fit.differ, differ);
    if (fit.after) append_joined(out, "begins behind the log's last USN");
    if (fit.before) append_joined(out, "ends ahead of the log's first USN");
    if (fit.none_met) append_joined(out, "has no record of the log's USNs");
    if (fit.not_logged) append_joined(out, "the log has no journal record");
    return out;
}

std::string fit_text(const volume_geometry& geometry) {
    std::string out;
    if (!geometry.contradicted()) return out;
    append_decimal(out, *geometry.stated_cluster);
    out += " bytes per cluster by its restart record, ";
    append_decimal(out, *geometry.voted_cluster);
    return out += " by its file records";
}

std::string log_misfit_line(const log_store& log, const std::string& path) {
    const std::string words = fit_text(find_volume_geometry(log));
    return words.empty() ? words : warning_line("the log contradicts itself", path + ": " + words);
}

namespace {

std::string shown_input(const logfile_options& options, const input_source& source, std::string_view option) {
    return options.lists_sets() ? source.path : source.shown(option);
}

}  // namespace

input_fits compare_inputs(const evidence& stores, const logfile_options& options) {
    input_fits fits;
    if (stores.log.entries.empty() || (!options.mft.given() && !options.journal.given())) return fits;
    const std::vector<logged_usn> logged = logged_journal_records(stores.log);
    if (options.mft.given()) fits.mft = compare_mft(stores, logged);
    if (options.journal.given()) fits.journal = sample_journal(*stores.journal.file, stores.log, logged);
    return fits;
}

misfit_words misfits_of(const input_fits& fits, const evidence& stores, const logfile_options& options) {
    misfit_words found;
    if (!stores.log.entries.empty()) found.log = log_misfit_line(stores.log, options.log.path);
    if (fits.mft && contradicts(*fits.mft))
        found.mft = misfit_line(shown_input(options, options.mft, "-mftfile"), fit_text(*fits.mft));
    if (fits.journal && contradicts(*fits.journal))
        found.journal = misfit_line(shown_input(options, options.journal, "-jrnlfile"), fit_text(*fits.journal));
    return found;
}

std::string misfit_lines(const evidence& stores, const logfile_options& options) {
    return misfits_of(compare_inputs(stores, options), stores, options).lines();
}

}  // namespace kest
