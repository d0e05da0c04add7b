#include "events/tell_events.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <vector>

#include "events/file_events.h"
#include "events/journal_events.h"
#include "events/own_times.h"
#include "events/system_files.h"
#include "journal/usn_record.h"

namespace kest {

namespace {

// What was undone tells nothing of who held a record, so where nothing else does, the rest of its transaction answers.
void complete_undone(std::span<told_fact> facts) {
    uni::seeded_map<std::uint16_t> sequences;  // by record number
    for (const told_fact& fact : facts) {
        if (fact.owner.sequence() != 0) sequences[fact.owner.number()] = fact.owner.sequence();
    }
    for (told_fact& fact : facts) {
        if (!fact.undone || fact.owner.sequence() != 0) continue;
        const std::uint16_t* const sequence = sequences.find(fact.owner.number());
        if (sequence == nullptr) continue;
        fact.owner.set_sequence(*sequence);
        fact.source = owner_source::log;
    }
}

// Comes first: names and everything behind them go by the file that a fact is about.
const told_log& with_owners(told_log& told, const record_lives& lives) {
    for (const told_transaction& transaction : told.transactions) {
        const auto facts = std::span(told.facts).subspan(transaction.first_fact, transaction.fact_count);
        bool incomplete = false;
        for (told_fact& fact : facts) {
            const record_holder holder = lives.owner_of(fact);
            fact.owner = holder.file;
            fact.source = holder.source;
            incomplete = incomplete || (fact.undone && fact.owner.sequence() == 0);
        }
        if (incomplete) complete_undone(facts);
    }
    return told;
}

// A journal file's sizes are written for each record that it gets, right ahead of the record.
uni::seeded_map<bool> find_journals(const told_log& told, const log_store& log) {
    uni::seeded_map<bool> journals;
    for (const told_transaction& transaction : told.transactions) {
        const told_fact* sizes = nullptr;
        for (const told_fact& fact : told.facts_of(transaction)) {
            if (fact.undone) continue;
            if (fact.kind == fact_kind::sizes_written) sizes = &fact;
            if (fact.kind != fact_kind::journal_record || sizes == nullptr) continue;
            const auto record = read_usn_record(fact.data);
            const std::uint64_t usn = record->get(&usn_layout::usn);
            if (exact_undo(log.entries[sizes->entry]).get(new_sizes_layout::real_size) == usn &&
                sizes->data.get(new_sizes_layout::initialized_size) == usn + record->length()) {
                journals[sizes->file.number()] = true;
            }
        }
    }
    return journals;
}

bool comes_before(const placed_event& a, const placed_event& b) {
    return a.told.lsn != b.told.lsn ? a.told.lsn < b.told.lsn : a.rank < b.rank;
}

class event_teller {
public:
    event_teller(const event_inputs& inputs, const event_listener& listener, const event_progress& progress)
        : m_told(gather_facts(inputs.log)),
          m_lives(m_told, inputs.inodes, inputs.guesses_allowed),
          m_names(with_owners(m_told, m_lives), inputs.inodes),
          m_paths(m_names, inputs.omitted),
          m_standard(inputs.log, m_told, m_memory, inputs.inodes, inputs.omitted),
          m_tunnels(m_told),
          m_logged(m_told),
          m_journals(find_journals(m_told, inputs.log)),
          m_context{.log = inputs.log,
                    .inodes = inputs.inodes,
                    .told = m_told,
                    .lives = m_lives,
                    .names = m_names,
                    .paths = m_paths,
                    .memory = m_memory,
                    .standard = m_standard,
                    .tunnels = m_tunnels,
                    .logged = m_logged,
                    .journals = m_journals},
          m_files(m_context, m_events),
          m_log(inputs.log),
          m_listener(listener),
          m_progress(progress) {
        if (inputs.journal != nullptr) open_journal(*inputs.journal);
    }

    void run() {
        const std::size_t count = m_told.transactions.size();
        for (std::size_t at = 0; at < count; ++at) {
            m_progress(at + 1, count);
            tell(at);
        }
        if (m_journal) m_journal->tell_before(logged_records::nowhere, m_told.highest_lsn);
    }

    // It is read twice, and either time may fail.
    journal_reading reading() const {
        journal_reading read = m_outline.reading;
        read.incomplete = read.incomplete || (m_journal && m_journal->incomplete());
        return read;
    }

private:
    void open_journal(const uni::file& file) {
        m_outline = outline_journal(file, m_logged);
        m_names.consult(m_outline.folders, m_logged.meet_file());
        m_journal.emplace(file, m_outline, m_logged, m_names, m_paths, m_listener);
        m_anchors.reserve(m_told.transactions.size());
        for (const told_transaction& transaction : m_told.transactions)
            m_anchors.push_back(anchor_of(m_told.facts_of(transaction)));
        m_limits = m_anchors;
        std::partial_sum(m_limits.rbegin(), m_limits.rend(), m_limits.rbegin(),
                         [](std::uint64_t a, std::uint64_t b) { return std::min(a, b); });
    }

    // Where in the journal file the first of the transaction's own records stands.
    std::uint64_t anchor_of(std::span<const told_fact> facts) const {
        std::uint64_t place = logged_records::nowhere;
        for (const told_fact& fact : facts) {
            if (const auto* const in_file = m_logged.in_file(fact)) place = std::min(place, in_file->place);
        }
        return place;
    }

    // Tells what the journal file has ahead of the transaction that is next. A transaction whose journal record stands
    // in the file has its place by that. Another one has it by its time, but ahead of such as come behind it.
    void tell_journal(std::size_t at, const own_times& times) {
        if (!m_journal) return;
        const std::uint64_t lsn = m_log.entries[m_told.transactions[at].head].this_lsn;
        if (m_anchors[at] != logged_records::nowhere) {
            m_journal->tell_before(m_anchors[at], lsn);
        } else if (times.latest() != 0) {
            m_journal->tell_earlier(times.latest(), m_limits[at], lsn);
        }
        m_names.set_journal_place(m_journal->place());
    }

    void tell(std::size_t at) {
        const told_transaction& transaction = m_told.transactions[at];
        const std::span<const told_fact> facts = m_told.facts_of(transaction);
        const own_times times(m_log, facts);
        tell_journal(at, times);
        m_events.clear();
        sort_by_file(facts);
        for (auto begin = m_by_file.begin(); begin != m_by_file.end();) {
            const auto end = std::find_if(begin, m_by_file.end(),
                                          [begin](const told_fact* fact) { return fact->owner != (*begin)->owner; });
            tell_file(transaction, times, {begin, end});
            begin = end;
        }
        if (!std::ranges::is_sorted(m_events, comes_before)) std::ranges::stable_sort(m_events, comes_before);
        for (const placed_event& event : m_events) {
            if (!event.told.of_system) m_listener(event.told);
        }
        m_bound = std::max(m_bound, times.latest());
        m_memory.remember(facts);
    }

    void sort_by_file(std::span<const told_fact> facts) {
        m_by_file.clear();
        m_taken.clear();
        for (const told_fact& fact : facts) {
            if (fact.kind == fact_kind::taken) {
                m_taken.push_back(fact.file.number());
            } else {
                m_by_file.push_back(&fact);
            }
        }
        std::ranges::sort(m_taken);
        std::ranges::sort(m_by_file, [](const told_fact* a, const told_fact* b) {
            return a->owner != b->owner ? a->owner < b->owner : a < b;
        });
    }

    // `facts` are all that the transaction tells of the file.
    void tell_file(const told_transaction& transaction, const own_times& times,
                   std::span<const told_fact* const> facts) {
        const inode_ref file = facts.front()->owner;
        if (is_system_file(file.number())) return;
        const std::size_t known = m_events.size();
        for (const bool undone : {false, true}) {
            m_part.clear();
            std::ranges::copy_if(facts, std::back_inserter(m_part),
                                 [undone](const told_fact* fact) { return fact->undone == undone; });
            if (m_part.empty()) continue;
            m_files.find(
                {.file = file, .transaction = transaction, .taken = m_taken, .facts = m_part, .undone = undone});
        }
        if (m_events.size() == known) return;
        const event_time time = times.of_file(facts, m_bound);
        const bool in_both =
            std::ranges::any_of(facts, [this](const told_fact* fact) { return m_logged.in_file(*fact) != nullptr; });
        for (std::size_t at = known; at < m_events.size(); ++at) {
            m_events[at].told.source = in_both ? event_source::both : event_source::log;
            m_events[at].told.time = time.ticks;
            m_events[at].told.clock = time.clock;
        }
    }

    told_log m_told;
    record_lives m_lives;
    name_history m_names;
    folder_paths m_paths;
    file_memory m_memory;
    standard_lookup m_standard;
    name_tunnels m_tunnels;
    logged_records m_logged;
    uni::seeded_map<bool> m_journals;
    event_context m_context;
    std::vector<placed_event> m_events;  // of the transaction at hand
    file_events m_files;
    const log_store& m_log;
    const event_listener& m_listener;
    const event_progress& m_progress;
    std::vector<const told_fact*> m_by_file;
    std::vector<const told_fact*> m_part;
    std::vector<std::uint64_t> m_taken;
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
