#include "events/tell_events.h"

#include <algorithm>
#include <vector>

#include "events/file_events.h"
#include "events/own_times.h"
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
    event_teller(const log_store& log, const _inode_collection& inodes, bool guesses_allowed,
                 const event_listener& listener, const event_progress& progress)
        : m_told(gather_facts(log)),
          m_lives(m_told, inodes, guesses_allowed),
          m_names(with_owners(m_told, m_lives), inodes),
          m_paths(m_names),
          m_standard(log, m_told, m_memory, inodes),
          m_tunnels(m_told),
          m_journals(find_journals(m_told, log)),
          m_context{.log = log,
                    .inodes = inodes,
                    .told = m_told,
                    .lives = m_lives,
                    .names = m_names,
                    .paths = m_paths,
                    .memory = m_memory,
                    .standard = m_standard,
                    .tunnels = m_tunnels,
                    .journals = m_journals},
          m_files(m_context, m_events),
          m_log(log),
          m_listener(listener),
          m_progress(progress) {}

    void run() {
        std::uint64_t done = 0;
        for (const told_transaction& transaction : m_told.transactions) {
            m_progress(++done, m_told.transactions.size());
            tell(transaction);
        }
    }

private:
    void tell(const told_transaction& transaction) {
        const std::span<const told_fact> facts = m_told.facts_of(transaction);
        m_events.clear();
        sort_by_file(facts);
        const own_times times(m_log, facts);
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
        for (std::size_t at = known; at < m_events.size(); ++at) {
            m_events[at].told.time = time.ticks;
            m_events[at].told.clock = time.clock;
        }
    }

    // What the file system keeps for itself. The root is among those numbers, and not of them.
    static bool is_system_file(std::uint64_t number) {
        constexpr std::uint64_t root = 5;
        constexpr std::uint64_t first_user_file = 24;
        return number < first_user_file && number != root;
    }

    told_log m_told;
    record_lives m_lives;
    name_history m_names;
    folder_paths m_paths;
    file_memory m_memory;
    standard_lookup m_standard;
    name_tunnels m_tunnels;
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
    std::uint64_t m_bound = 0;  // the latest time that a transaction ahead had of its own
};

}  // namespace

void tell_events(const log_store& log, const _inode_collection& inodes, bool guesses_allowed,
                 const event_listener& listener, const event_progress& progress) {
    event_teller(log, inodes, guesses_allowed, listener, progress).run();
}

}  // namespace kest
