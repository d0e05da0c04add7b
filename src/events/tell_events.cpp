#include "events/tell_events.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <vector>

#include "events/journal_events.h"
#include "events/shown_events.h"
#include "events/system_files.h"
#include "journal/usn_record.h"

namespace kest {

namespace {

std::vector<std::uint32_t> number_transactions(const log_store& log) {
    std::vector<std::uint32_t> numbers(log.entries.size(), transaction_view::none);
    for (std::uint32_t chain = 0; chain < log.chain_heads.size(); ++chain) {
        for (const std::uint32_t position : log.records(log.chain_heads[chain]))
            numbers[position] = chain;
    }
    return numbers;
}

volume_geometry geometry_of(const event_inputs& inputs) {
    volume_geometry geometry = find_volume_geometry(inputs.log);
    if (inputs.cluster_size) geometry.stated_cluster = inputs.cluster_size;
    return geometry;
}

std::uint64_t highest_lsn_of(const log_store& log) {
    std::uint64_t highest = 0;
    for (const log_entry& entry : log.entries)
        highest = std::max(highest, entry.this_lsn);
    return highest;
}

bool comes_before(const found_event& a, const found_event& b) {
    return a.lsn != b.lsn ? a.lsn < b.lsn : a.rank < b.rank;
}

class event_teller {
public:
    event_teller(const event_inputs& inputs, const event_listener& listener, const event_progress& progress)
        : m_log(inputs.log),
          m_numbers(number_transactions(inputs.log)),
          m_states(find_transaction_states(inputs.log)),
          m_geometry(geometry_of(inputs)),
          m_highest_lsn(highest_lsn_of(inputs.log)),
          m_history({inputs.log, {m_numbers, m_states.rolled_back}, inputs.inodes, m_geometry}),
          m_reader(inputs.log, m_states, {m_geometry.cluster_size(), m_geometry.record_size()}),
          m_owners(m_history.timeline(), inputs.inodes, m_highest_lsn, inputs.guesses_allowed),
          m_names(m_history.timeline(), inputs.inodes),
          m_paths(m_names, inputs.omitted),
          m_tunnels(inputs.log, m_states, m_history),
          m_context{.log = inputs.log,
                    .history = m_history,
                    .owners = m_owners,
                    .names = m_names,
                    .paths = m_paths,
                    .tunnels = m_tunnels,
                    .logged = m_logged,
                    .journals = m_journals,
                    .past = m_past},
          m_files(m_context, m_found),
          m_shown(m_context, listener),
          m_listener(listener),
          m_progress(progress) {
        if (m_history.limits_hit()) inputs.omitted.changes = true;
        find_journals();
        if (inputs.journal != nullptr) open_journal(*inputs.journal);
    }

    void run() {
        const auto count = static_cast<std::uint32_t>(m_log.chain_heads.size());
        for (std::uint32_t at = 0; at < count; ++at) {
            m_progress(at + 1, count);
            show(at);
        }
        if (m_journal) m_journal->tell_before(logged_records::nowhere, m_highest_lsn);
    }

    // It is read twice, and either time may fail.
    journal_reading reading() const {
        journal_reading read = m_outline.reading;
        read.incomplete = read.incomplete || (m_journal && m_journal->incomplete());
        return read;
    }

private:
    // A fact or a change, and the file that it is about.
    struct part {
        inode_ref file;
        known_by owner = known_by::log;
        bool rolled_back = false;
        const event_fact* fact = nullptr;
        const record_change* record = nullptr;
    };

    // A journal file grows by each record that it gets: from one's USN to the end of another.
    void find_journals() {
        std::vector<std::uint64_t> begins;
        std::vector<std::uint64_t> ends;
        for (const record_change& change : m_history.changes()) {
            if (change.rolled_back) continue;
            for (const attribute_change& attribute : m_history.attributes_of(change)) {
                const auto before = attribute.before.file_size;
                const auto after = attribute.after.valid_length;
                if (!before || !after || *before >= *after) continue;
                read_usns(change.transaction, begins, ends);
                if (std::ranges::binary_search(begins, *before) && std::ranges::binary_search(ends, *after)) {
                    m_journals[change.number] = true;
                }
            }
        }
    }

    void read_usns(std::uint32_t transaction, std::vector<std::uint64_t>& begins, std::vector<std::uint64_t>& ends) {
        if (m_facts.number == transaction) return;
        m_reader.read(m_facts, transaction);
        begins.clear();
        ends.clear();
        for (const event_fact& fact : m_facts.facts) {
            if (fact.rolled_back || fact.kind != fact_kind::journal_record) continue;
            const auto record = read_usn_record(fact.data);
            begins.push_back(record->get(&usn_layout::usn));
            ends.push_back(begins.back() + record->length());
        }
        std::ranges::sort(begins);
        std::ranges::sort(ends);
    }

    void open_journal(const uni::byte_source& file) {
        for (std::uint32_t at = 0; at < m_log.chain_heads.size(); ++at) {
            m_reader.read(m_facts, at);
            m_logged.add(m_facts.facts);
        }
        m_logged.seal();
        m_outline = outline_journal(file, m_logged);
        m_names.consult(m_outline.folders, m_logged.meet_file());
        m_journal.emplace(file, m_outline, m_logged, m_names, m_paths, m_listener);
        for (std::uint32_t at = 0; at < m_log.chain_heads.size(); ++at) {
            m_reader.read(m_facts, at);
            m_anchors.push_back(anchor_of(m_facts.facts));
        }
        m_limits = m_anchors;
        std::partial_sum(m_limits.rbegin(), m_limits.rend(), m_limits.rbegin(),
                         [](std::uint64_t a, std::uint64_t b) { return std::min(a, b); });
    }

    // Where in the journal file the first of the transaction's own records stands.
    std::uint64_t anchor_of(std::span<const event_fact> facts) const {
        std::uint64_t place = logged_records::nowhere;
        for (const event_fact& fact : facts) {
            if (const auto* const in_file = m_logged.in_file(fact)) place = std::min(place, in_file->place);
        }
        return place;
    }

    // Tells what the journal file has ahead of the transaction that is next. A transaction whose journal record stands
    // in the file has its place by that. Another one has it by its time, but ahead of such as come behind it.
    void tell_journal(const own_times& times) {
        if (!m_journal) return;
        const std::uint32_t at = m_facts.number;
        const std::uint64_t lsn = m_log.entries[m_facts.head].this_lsn;
        if (m_anchors[at] != logged_records::nowhere) {
            m_journal->tell_before(m_anchors[at], lsn);
        } else if (times.latest() != 0) {
            m_journal->tell_earlier(times.latest(), m_limits[at], lsn);
        }
        m_names.set_journal_place(m_journal->place());
    }

    void show(std::uint32_t chain) {
        m_reader.read(m_facts, chain);
        const std::span<const record_change> changes = m_history.changes_of(chain);
        if (m_facts.facts.empty() && changes.empty()) return;
        const own_times times(m_history, m_facts, changes);
        tell_journal(times);
        m_found.clear();
        m_subjects.clear();
        list_parts(changes);
        for (auto begin = m_parts.begin(); begin != m_parts.end();) {
            const auto end =
                std::find_if(begin, m_parts.end(), [begin](const part& one) { return one.file != begin->file; });
            find_events(times, {begin, end});
            begin = end;
        }
        if (!std::ranges::is_sorted(m_found, comes_before)) std::ranges::stable_sort(m_found, comes_before);
        for (const found_event& found : m_found)
            m_shown.show(found, m_subjects[found.subject]);
        m_bound = std::max(m_bound, times.latest());
    }

    void list_parts(std::span<const record_change> changes) {
        m_parts.clear();
        m_sequences.clear();
        for (const event_fact& fact : m_facts.facts)
            m_parts.push_back({.file = fact.file, .rolled_back = fact.rolled_back, .fact = &fact});
        for (const record_change& change : changes) {
            record_owner owner = m_owners.owner_of(change, m_log.entries[change.first].this_lsn);
            if (change.rolled_back && owner.file.sequence() == 0) owner = owner_by_facts(change.number);
            m_parts.push_back(
                {.file = owner.file, .owner = owner.known, .rolled_back = change.rolled_back, .record = &change});
            if (change.is_birth() && change.is_end()) {
                m_parts.push_back(
                    {.file = inode_ref(change.number, change.before.sequence.value_or(0)), .record = &change});
            }
        }
        std::ranges::stable_sort(m_parts, {}, &part::file);
    }

    // What was rolled back says nothing of who held a record, so where nothing else does, the rest of its transaction
    // answers.
    record_owner owner_by_facts(std::uint64_t number) {
        if (m_sequences.empty()) {
            for (const event_fact& fact : m_facts.facts)
                m_sequences[fact.file.number()] = fact.file.sequence();
        }
        const std::uint16_t* const sequence = m_sequences.find(number);
        if (sequence == nullptr) return {inode_ref(number, 0), known_by::part};
        return {inode_ref(number, *sequence), known_by::log};
    }

    // `parts` are all that the transaction has of the file.
    void find_events(const own_times& times, std::span<const part> parts) {
        const inode_ref file = parts.front().file;
        if (is_system_file(file.number())) return;
        bool in_both = false;
        m_all = {};
        const std::size_t first = m_subjects.size();
        for (const bool rolled_back : {false, true}) {
            m_some = {};
            known_by owner = known_by::guess;
            for (const part& one : parts) {
                if (one.rolled_back != rolled_back) continue;
                owner = std::min(owner, one.owner);
                if (one.fact != nullptr) {
                    m_some.facts.push_back(one.fact);
                    in_both = in_both || m_logged.in_file(*one.fact) != nullptr;
                } else {
                    m_some.records.push_back(one.record);
                }
            }
            if (m_some.facts.empty() && m_some.records.empty()) continue;
            const file_changes changes{.file = file,
                                       .owner = owner,
                                       .transaction = m_facts,
                                       .facts = m_some.facts,
                                       .records = m_some.records,
                                       .rolled_back = rolled_back};
            m_subjects.emplace_back();
            m_files.find(changes, m_subjects.back(), static_cast<std::uint32_t>(m_subjects.size() - 1));
            m_all.facts.insert(m_all.facts.end(), m_some.facts.begin(), m_some.facts.end());
            m_all.records.insert(m_all.records.end(), m_some.records.begin(), m_some.records.end());
        }
        learn(file, parts);
        const event_time time = times.of_file(m_all.facts, m_all.records, m_bound);
        for (std::size_t at = first; at < m_subjects.size(); ++at) {
            m_subjects[at].time = time;
            m_subjects[at].source = in_both ? event_source::both : event_source::log;
        }
    }

    // What later transactions are to know of the file.
    void learn(inode_ref file, std::span<const part> parts) {
        if (file.sequence() == 0 || std::ranges::none_of(parts, [this](const part& one) { return touches(one); }))
            return;
        file_past& past = m_past[file.value()];
        past.just_created = false;
        std::uint64_t birth_time = 0;
        for (const part& one : parts) {
            if (one.rolled_back) continue;
            if (one.fact != nullptr && one.fact->kind == fact_kind::journal_record) {
                past.reasons = read_usn_record(one.fact->data)->reasons_behind(past.reasons);
            }
            if (one.record == nullptr || !one.record->is_birth()) continue;
            past.just_created = true;
            const standard_change* const standard = m_history.standard_of(*one.record);
            if (standard == nullptr) continue;
            for (const auto& time : standard->after.times)
                birth_time = std::max(birth_time, time.whole().value_or(0));
        }
        if (past.birth_time == 0) past.birth_time = birth_time;
    }

    // Other sizes are no touch: they may be written long after.
    bool touches(const part& one) const {
        if (one.rolled_back || one.fact != nullptr) return !one.rolled_back;
        return one.record->standard != 0 || one.record->before != one.record->after ||
               !std::ranges::all_of(m_history.attributes_of(*one.record), has_both_sides);
    }

    static bool has_both_sides(const attribute_change& change) { return change.before.present == change.after.present; }

    // What a file's events rest on.
    struct part_list {
        std::vector<const event_fact*> facts;
        std::vector<const record_change*> records;
    };

    const log_store& m_log;
    const std::vector<std::uint32_t> m_numbers;  // of the transactions, by position
    const transaction_states m_states;
    const volume_geometry m_geometry;
    const std::uint64_t m_highest_lsn;
    const file_history m_history;
    const fact_reader m_reader;
    const record_owners m_owners;
    name_history m_names;
    folder_paths m_paths;
    name_tunnels m_tunnels;
    logged_records m_logged;
    uni::seeded_map<bool> m_journals;
    uni::seeded_map<file_past> m_past;
    event_context m_context;
    file_events m_files;
    shown_events m_shown;
    const event_listener& m_listener;
    const event_progress& m_progress;
    // Of the transaction at hand.
    transaction_facts m_facts;
    std::vector<part> m_parts;
    uni::seeded_map<std::uint16_t> m_sequences;  // by record number; filled where they are asked for
    std::vector<found_event> m_found;
    std::vector<event_subject> m_subjects;
    part_list m_some;  // what stands of a file, or what was rolled back
    part_list m_all;
    journal_outline m_outline;
    std::optional<journal_events> m_journal;  // none without a journal file
    std::vector<std::uint64_t> m_anchors;     // of each transaction: its place in the journal file, if it has one
    std::vector<std::uint64_t> m_limits;      // the first place of this one and those behind it
    std::uint64_t m_bound = 0;                // the latest time that a transaction ahead had of its own
};

}  // namespace

journal_reading tell_events(const event_inputs& inputs, const event_listener& listener,
                            const event_progress& progress) {
    event_teller teller(inputs, listener, progress);
    teller.run();
    return teller.reading();
}

}  // namespace kest
