#include "events/derive_events.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <tuple>
#include <utility>

#include "events/event_relay.h"
#include "events/event_writer.h"
#include "events/journal_events.h"
#include "logfile/volume_geometry.h"
#include "portable/portable_thread.h"

namespace kest {

namespace {

volume_geometry geometry_of(const event_inputs& inputs) {
    volume_geometry geometry = find_volume_geometry(inputs.log);
    if (inputs.cluster_size) geometry.stated_cluster = inputs.cluster_size;
    return geometry;
}

// A journal file grows by each record that it gets: from one's USN to the end of another in one transaction.
uni::seeded_map<bool> find_journals(const log_facts& facts, const file_history& history) {
    uni::seeded_map<bool> journals;
    std::uint32_t listed = record_change::none;  // the transaction whose journal records the lists hold
    std::vector<std::uint64_t> begins;
    std::vector<std::uint64_t> ends;
    for (const record_change& change : history.changes()) {
        if (change.rolled_back) continue;
        for (const attribute_change& attribute : history.attributes_of(change)) {
            const auto before = attribute.before.file_size;
            const auto after = attribute.after.valid_length;
            if (!before || !after || *before >= *after) continue;
            if (std::exchange(listed, change.transaction) != change.transaction) {
                begins.clear();
                ends.clear();
                for (const log_fact& fact : facts.of_transaction(change.transaction).facts) {
                    if (fact.rolled_back || !fact.is_journal_record()) continue;
                    begins.push_back(fact.usn().get(&usn_layout::usn));
                    ends.push_back(begins.back() + fact.usn().length());
                }
                std::ranges::sort(begins);
                std::ranges::sort(ends);
            }
            if (std::ranges::binary_search(begins, *before) && std::ranges::binary_search(ends, *after))
                journals[change.number] = true;
        }
    }
    return journals;
}

std::uint64_t logged_bytes(const log_store& log) {
    std::uint64_t bytes = 0;
    for (const log_entry& entry : log.entries)
        bytes += entry.bytes().size();
    return bytes;
}

bool has_both_sides(const attribute_change& change) {
    return change.before.present == change.after.present;
}

// Of what files get so many runs are kept for so many bytes of the log.
constexpr std::uint64_t least_runs = std::uint64_t{1} << 16;
constexpr std::uint64_t bytes_for_run = 32;

// Records of a log; for fewer a thread costs more than it brings.
constexpr std::size_t worthwhile = std::size_t{1} << 14;

// What events need besides the history of the file records, and the clock does not ask.
struct log_tables {
    std::uint64_t logged_bytes;
    security_descriptors descriptors;
    uni::seeded_map<bool> journals;
    cluster_uses uses;
    std::vector<volume_event> of_volume;
};

class event_derivation {
public:
    event_derivation(const event_inputs& inputs, const event_listener& listener, const event_progress& progress)
        : m_log(inputs.log),
          m_states(find_transaction_states(inputs.log)),
          m_geometry(geometry_of(inputs)),
          m_highest_lsn(inputs.log.entries.empty() ? 0 : inputs.log.entries.back().this_lsn()),
          m_facts(inputs.log, m_states, {m_geometry.cluster_size(), m_geometry.record_size()}),
          m_history({.log = inputs.log,
                     .rolled_back = m_states.rolled_back,
                     .facts = m_facts,
                     .inodes = inputs.inodes,
                     .geometry = m_geometry,
                     .check = difference_check(),
                     .with_data = inputs.topic == event_topic::contents,
                     .threads_allowed = inputs.threads_allowed}),
          m_names(m_history.timeline(), inputs.inodes, m_highest_lsn, inputs.guesses_allowed),
          m_paths(m_names, inputs.omitted),
          m_tunneling(m_facts, m_history),
          m_bin(m_facts),
          m_clock(find_tables_and_clock(inputs.threads_allowed)),
          m_budgets(m_tables->logged_bytes),
          m_context{.log = m_log,
                    .facts = m_facts,
                    .history = m_history,
                    .names = m_names,
                    .paths = m_paths,
                    .tunneling = m_tunneling,
                    .descriptors = m_tables->descriptors,
                    .bin = m_bin,
                    .clock = m_clock,
                    .journals = m_tables->journals,
                    .past = m_past,
                    .topic = inputs.topic,
                    .versions = m_versions,
                    .uses = m_tables->uses,
                    .budgets = m_budgets,
                    .omitted = inputs.omitted},
          m_writer(m_context, listener),
          m_relay([this](const found_events& found) { m_writer.write(found); },
                  inputs.threads_allowed && inputs.journal == nullptr),
          m_file_events(m_context, m_relay.found()),
          m_changes_left(m_history.changes()),
          m_set_back(m_clock.set_back()),
          m_volume_left(m_tables->of_volume),
          m_progress(progress) {
        if (m_history.limits_hit()) inputs.omitted.changes = true;
        if (m_history.data_limit_hit()) inputs.omitted.contents = true;
        if (inputs.journal != nullptr) open_journal(*inputs.journal, listener);
    }

    void run() {
        try {
            report_transactions();
        } catch (...) {
            finish_transactions();  // what was found before memory ran out is reported
            throw;
        }
        finish_transactions();
        if (m_journal) m_journal->report_until(journal_events::no_limit, m_highest_lsn);
        for (const mft_difference& difference : m_differences)
            report(difference);
    }

    // The file is read twice, and either time may fail.
    journal_reading reading() const {
        journal_reading read = m_outline.reading;
        read.incomplete = read.incomplete || (m_journal && m_journal->incomplete());
        return read;
    }

private:
    // Builds the clock and the tables at the same time, as neither asks the other.
    log_clock find_tables_and_clock(bool threads_allowed) {
        const auto find_tables = [this] {
            const std::uint64_t bytes = logged_bytes(m_log);
            m_tables = log_tables{.logged_bytes = bytes,
                                  .descriptors = {m_log, m_states.rolled_back, m_geometry.cluster_size()},
                                  .journals = find_journals(m_facts, m_history),
                                  .uses = cluster_uses({m_log, m_states.rolled_back, m_history,
                                                        m_geometry.cluster_size(), least_runs + bytes / bytes_for_run}),
                                  .of_volume = find_volume_events(m_log)};
        };
        std::optional<portable_thread> beside;
        if (threads_allowed && m_log.entries.size() >= worthwhile) beside.emplace(find_tables);
        log_clock clock(
            m_log, m_facts, m_history,
            find_stated_times(m_log, m_states, m_facts, {m_geometry.cluster_size(), m_geometry.record_size()}));
        beside ? beside->wait() : find_tables();
        return clock;
    }

    void report_transactions() {
        constexpr std::uint32_t soon = 4;
        const auto count = static_cast<std::uint32_t>(m_log.chain_heads.size());
        for (std::uint32_t number = 0; number < count; ++number) {
            m_progress(number + 1, count);
            m_facts.prefetch(number + soon);
            m_history.prefetch(number + soon);
            report_volume(m_log.lsn_of(m_log.chain_heads[number]));
            report(number);
        }
        report_volume(~std::uint64_t{0});
    }

    void finish_transactions() {
        m_relay.finish();
        if (m_writer.omits_clusters()) m_context.omitted.clusters = true;
    }

    void open_journal(const uni::byte_source& file, const event_listener& listener) {
        m_facts.index_journal_records();
        m_outline = outline_journal(file, m_facts);
        m_names.use_journal(m_outline.folders, m_facts.any_matched());
        m_journal.emplace(file, m_outline, m_facts, m_names, m_paths, listener);
        for (std::uint32_t number = 0; number < m_log.chain_heads.size(); ++number)
            m_limits.push_back(journal_offset_of(m_facts.of_transaction(number)));
        std::partial_sum(m_limits.rbegin(), m_limits.rend(), m_limits.rbegin(),
                         [](std::uint64_t a, std::uint64_t b) { return std::min(a, b); });
    }

    // Where in the journal file the first of the transaction's own records stands.
    std::uint64_t journal_offset_of(const transaction_facts& transaction) const {
        std::uint64_t first = journal_match::not_in_file;
        for (const log_fact& fact : transaction.facts)
            first = std::min(first, m_facts.match_of(fact).offset);
        return first;
    }

    // Reports what the journal file has before the transaction that is next. One whose journal record stands in the
    // file comes where that does. Another one comes by its time, but before what later transactions have there.
    void report_journal(const transaction_facts& transaction) {
        if (!m_journal) return;
        const std::uint64_t lsn = m_log.entries[transaction.head].this_lsn();
        const std::uint64_t offset = journal_offset_of(transaction);
        if (offset != journal_match::not_in_file) {
            m_journal->report_until(offset, lsn);
        } else if (const event_time when = m_clock.time_of(transaction.number, lsn); when.time != 0) {
            m_journal->report_until(m_limits[transaction.number], lsn, when.time);
        }
        m_names.set_journal_offset(m_journal->offset());
    }

    void report(std::uint32_t number) {
        const transaction_facts transaction = m_facts.of_transaction(number);
        const auto rest = std::ranges::find_if(
            m_changes_left, [number](const record_change& change) { return change.transaction != number; });
        const std::span<const record_change> changes(m_changes_left.begin(), rest);
        m_changes_left = {rest, m_changes_left.end()};
        if (transaction.facts.empty() && changes.empty()) return;
        report_journal(transaction);
        report_clock(number);
        const std::size_t first = m_relay.found().events.size();
        group_by_file(transaction, changes);
        find_events(transaction);
        const auto found = std::span(m_relay.found().events).subspan(first);
        const auto key = [](const found_event& one) { return std::pair(one.proof, one.rank); };
        if (!std::ranges::is_sorted(found, {}, key)) std::ranges::stable_sort(found, {}, key);
        m_relay.end_transaction();
    }

    // What restart records show comes before the transactions that begin after them.
    void report_volume(std::uint64_t next_lsn) {
        for (; !m_volume_left.empty(); m_volume_left = m_volume_left.subspan(1)) {
            if (m_log.entries[m_volume_left.front().proof].this_lsn() >= next_lsn) return;
            add(&m_volume_left.front());
            m_relay.end_transaction();
        }
    }

    void add(std::variant<const volume_event*, const clock_change*> shown) {
        found_events& found = m_relay.found();
        found.of_volume.push_back({found.events.size(), shown});
    }

    // That the clock was set back comes before the transaction that shows it.
    void report_clock(std::uint32_t number) {
        while (!m_set_back.empty() && m_set_back.front().after.transaction <= number) {
            add(&m_set_back.front());
            m_set_back = m_set_back.subspan(1);
        }
    }

    // Of each file what stands comes before what was rolled back.
    void group_by_file(const transaction_facts& transaction, std::span<const record_change> changes) {
        m_file_facts.clear();
        m_file_changes.clear();
        m_sequences.clear();
        for (const log_fact& fact : transaction.facts)
            m_file_facts.push_back(&fact);
        for (const record_change& change : changes) {
            record_owner owner = m_names.owner_of(change, m_log.entries[change.first].this_lsn());
            if (change.rolled_back && owner.file.sequence() == 0) {
                owner = owner_by_facts(change.number, transaction.facts);
            }
            m_file_changes.push_back({owner.file, owner.source, &change});
            if (!change.is_birth() || !change.is_end()) continue;
            m_file_changes.push_back(
                {inode_ref(change.number, change.before->sequence.value_or(0)), name_source::log, &change, true});
        }
        std::ranges::sort(m_file_facts, {},
                          [](const log_fact* fact) { return std::tuple(fact->file, fact->rolled_back, fact); });
        std::ranges::sort(m_file_changes, {}, [](const owned_change& change) {
            return std::tuple(change.file, change.record->rolled_back, change.record);
        });
    }

    // What was rolled back does not show who held a record, so where nothing else does, the rest of its transaction
    // answers.
    record_owner owner_by_facts(std::uint64_t number, std::span<const log_fact> facts) {
        if (m_sequences.empty()) {
            for (const log_fact& fact : facts)
                m_sequences[fact.file.number()] = fact.file.sequence();
        }
        const std::uint16_t* const sequence = m_sequences.find(number);
        if (sequence == nullptr) return {inode_ref(number, 0), name_source::part};
        return {inode_ref(number, *sequence)};
    }

    void find_events(const transaction_facts& transaction) {
        std::span<const log_fact* const> facts = m_file_facts;
        std::span<const owned_change> changes = m_file_changes;
        const auto take = [](auto& from, auto&& belongs) {
            const auto end = std::ranges::find_if_not(from, belongs);
            const auto taken = from.first(static_cast<std::size_t>(end - from.begin()));
            from = from.subspan(taken.size());
            return taken;
        };
        while (!facts.empty() || !changes.empty()) {
            inode_ref file = facts.empty() ? changes.front().file : facts.front()->file;
            if (!changes.empty()) file = std::min(file, changes.front().file);
            const auto has_fact = [file](const log_fact* fact) { return fact->file == file; };
            const auto has_change = [file](const owned_change& change) { return change.file == file; };
            const auto stands = [&](const auto& one) { return has_fact(one) && !one->rolled_back; };
            const auto change_stands = [&](const auto& one) { return has_change(one) && !one.record->rolled_back; };
            const file_changes standing{file, transaction, take(facts, stands), take(changes, change_stands)};
            const file_changes rolled_back{file, transaction, take(facts, has_fact), take(changes, has_change), true};
            if (file.number() == volume_number) find_volume_events_of({standing, rolled_back});
            if (!is_system_file(file.number())) find_events_of({standing, rolled_back});
        }
    }

    void find_volume_events_of(const std::array<file_changes, 2>& all) {
        std::vector<event_subject>& subjects = m_relay.found().subjects;
        for (const file_changes& some : all) {
            if (some.records.empty()) continue;
            subjects.emplace_back();
            m_file_events.find_of_volume(some, subjects.back(), static_cast<std::uint32_t>(subjects.size() - 1));
        }
    }

    // All that the transaction has of one file.
    void find_events_of(const std::array<file_changes, 2>& all) {
        event_subject subject;
        std::vector<event_subject>& subjects = m_relay.found().subjects;
        const std::size_t first = subjects.size();
        for (const file_changes& some : all) {
            const auto in_file = [this](const log_fact* fact) {
                return m_facts.match_of(*fact).offset != journal_match::not_in_file;
            };
            if (std::ranges::any_of(some.facts, in_file)) subject.source = event_source::both;
        }
        for (const file_changes& some : all) {
            if (some.facts.empty() && some.records.empty()) continue;
            subjects.push_back(subject);
            m_file_events.find(some, subjects.back(), static_cast<std::uint32_t>(subjects.size() - 1));
        }
        learn(all.front(), subjects[first].journal_time);
    }

    copy_check difference_check() {
        return [this](const copied_record& record, const copy_comparison& compared) {
            if (compared.differs) m_differences.push_back(describe_difference(record, compared));
        };
    }

    void report(const mft_difference& difference) {
        event_subject subject;
        subject.file = difference.file;
        subject.is_folder = m_names.is_directory(difference.file);
        subject.transaction = difference.transaction;
        m_writer.write(difference, subject);
    }

    // What later transactions are to know of the file. Other sizes are no change of it: they may be written long after.
    void learn(const file_changes& changes, std::uint64_t journal_time) {
        const auto touches = [this](const owned_change& one) {
            return one.record->standard != 0 || *one.record->before != *one.record->after ||
                   !std::ranges::all_of(m_history.attributes_of(*one.record), has_both_sides);
        };
        if (changes.file.sequence() == 0) return;
        if (changes.facts.empty() && std::ranges::none_of(changes.records, touches)) return;
        file_past& past = m_past[changes.file.value()];
        for (const log_fact* const fact : changes.facts) {
            if (fact->is_journal_record()) past.reasons = fact->usn().reasons_after(past.reasons);
            if (fact->kind == fact_kind::entry_added && !fact->name().is_dos_name()) past.name = fact->name();
        }
        const event_time when =
            m_clock.time_of(changes.transaction.number, m_log.entries[changes.transaction.head].this_lsn());
        if (when.clock != event_clock::not_before) past.last_event = journal_time != 0 ? journal_time : when.time;
        for (const owned_change& one : changes.records) {
            const standard_change* const standard = m_history.standard_of(*one.record);
            if (!one.record->is_birth() || one.lost || standard == nullptr) continue;
            past.birth_time = standard->after.times[2].whole().value_or(0);
            past.birth_transaction = changes.transaction.number;
        }
    }

    const log_store& m_log;
    const transaction_states m_states;
    const volume_geometry m_geometry;
    const std::uint64_t m_highest_lsn;
    std::vector<mft_difference> m_differences;
    log_facts m_facts;
    const file_history m_history;
    file_names m_names;
    folder_paths m_paths;
    file_tunneling m_tunneling;
    const recycle_bin m_bin;
    std::optional<log_tables> m_tables;
    const log_clock m_clock;
    uni::seeded_map<file_past> m_past;
    content_versions m_versions;
    event_budgets m_budgets;
    const event_context m_context;
    event_writer m_writer;
    event_relay m_relay;
    file_events m_file_events;
    std::span<const record_change> m_changes_left;  // of this transaction and those after it
    std::span<const clock_change> m_set_back;       // likewise
    std::span<const volume_event> m_volume_left;    // not reported yet
    const event_progress& m_progress;
    // Of the transaction at hand.
    std::vector<const log_fact*> m_file_facts;   // by file
    std::vector<owned_change> m_file_changes;    // likewise
    uni::seeded_map<std::uint16_t> m_sequences;  // by record number; filled where they are asked for
    journal_outline m_outline;
    std::optional<journal_events> m_journal;  // none without a journal file
    std::vector<std::uint64_t> m_limits;      // the first offset in it of each transaction and those after it
};

}  // namespace

journal_reading derive_events(const event_inputs& inputs, const event_listener& listener,
                              const event_progress& progress) {
    event_derivation derivation(inputs, listener, progress);
    derivation.run();
    return derivation.reading();
}

}  // namespace kest
