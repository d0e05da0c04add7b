#include "logfile/log_store.h"

#include <algorithm>
#include <limits>
#include <vector>

#include "journal/usn_record.h"
#include "portable/large_pages.h"

namespace kest {

namespace {

// Appends the chain that begins with the record at `head`. `find_next` finds the record that follows one; a record
// in a chain already ends it, so no walk is endless, whatever the links say.
template <class finder>
void append_chain(log_store& store, std::uint32_t head, bool cut, std::vector<bool>& in_chain, finder&& find_next) {
    const auto first = static_cast<std::uint32_t>(store.chain_records.size());
    store.chain_records.push_back(head);
    for (std::uint32_t current = head;;) {
        const auto* const next = find_next(current);
        if (next == nullptr || in_chain[next->position]) break;
        in_chain[next->position] = true;
        store.chain_records.push_back(next->position);
        current = next->position;
    }
    const auto count = static_cast<std::uint32_t>(store.chain_records.size()) - first;
    store.chain_heads.push_back({.first = first, .count = count, .cut = cut});
}

// The links of records whose LSNs are `begin` and what `offset` can count from there on. False if one lies elsewhere:
// then nothing is linked.
template <class offset>
bool link_chains_from(log_store& store, std::uint64_t begin) {
    const auto holds = [begin](std::uint64_t lsn) { return lsn - begin <= std::numeric_limits<offset>::max(); };
    const auto key_of = [begin](std::uint64_t lsn) { return static_cast<offset>(lsn - begin); };
    uni::basic_sealed_index<offset> by_previous;  // key: LSN of the predecessor; the first record that names it
    uni::basic_sealed_index<offset> heads;        // key: LSN; the first head of it
    uni::large_vector<offset> lsns;               // by position, so that no record is touched twice
    uni::try_reserve(by_previous, store.entries.size());
    uni::try_reserve(lsns, store.entries.size());
    store.restart_records.clear();
    for (std::uint32_t position = 0; position < store.entries.size(); ++position) {
        prefetch_record(store, position);
        const log_entry entry = store.entries[position];
        if (entry.get(record_layout::record_type) == record_types::restart) store.restart_records.push_back(position);
        const std::uint64_t previous = entry.client_previous_lsn();
        if (!holds(entry.this_lsn()) || (previous != 0 && !holds(previous))) return false;
        lsns.push_back(key_of(entry.this_lsn()));
        if (previous != 0) {
            by_previous.add(key_of(previous), position);
        } else {
            heads.add(lsns.back(), position);
        }
    }
    by_previous.seal_unique();
    heads.seal_unique();
    uni::try_reserve(store.chain_heads, heads.size());
    uni::try_reserve(store.chain_records, heads.size() + by_previous.size());
    std::vector<bool> in_chain(store.entries.size());
    std::size_t near = 0;
    const auto follower = [&](std::uint32_t position) { return by_previous.find_near(lsns[position], near); };
    for (const auto& head : heads.entries())
        append_chain(store, head.position, false, in_chain, follower);
    return true;
}

}  // namespace

// LSNs of a log lie close together as a rule: then each takes half of its bytes here.
void link_chains(log_store& store) {
    constexpr std::uint64_t half = std::uint64_t{1} << 31;
    if (store.entries.empty()) return;
    const std::uint64_t lsn = store.entries[0].this_lsn();
    if (!link_chains_from<std::uint32_t>(store, lsn - std::min(lsn, half))) link_chains_from<std::uint64_t>(store, 0);
}

uni::sealed_index index_entries(const log_store& store, std::uint64_t (log_entry::*key)() const) {
    uni::sealed_index index;
    index.reserve(store.entries.size());
    for (std::uint32_t position = 0; position < store.entries.size(); ++position)
        index.add((store.entries[position].*key)(), position);
    index.seal_unique();
    return index;
}

inode_record file_of_journal_record(const log_entry& entry) {
    inode_record record;
    parse_usn_record(record, entry.payload());
    return record;
}

void log_store_reset(log_store& store) {
    carry_buffer pending = std::move(store.carry);
    store = log_store{};
    store.carry = std::move(pending);
}

namespace {

// Of entries in the order of their LSNs, which are not touched where they are linked.
std::vector<std::uint32_t> lost_of_ordered(const log_store& store, const std::vector<bool>& linked) {
    std::vector<std::uint32_t> lost;
    const auto lsn = [&store](std::size_t at) { return store.entries[at].this_lsn(); };
    for (std::size_t at = 0; at < linked.size(); ++at) {
        if (linked[at]) continue;
        const std::size_t first = at;
        bool repeated = first != 0 && linked[first - 1] && lsn(first - 1) == lsn(first);
        for (; at + 1 < linked.size() && lsn(at + 1) == lsn(first); ++at)
            repeated = repeated || linked[at + 1];
        if (!repeated) lost.push_back(static_cast<std::uint32_t>(first));
    }
    return lost;
}

// The records without a chain, of which a record in a chain has the LSN of none. Few as a rule.
std::vector<std::uint32_t> lost_records(const log_store& store) {
    std::vector<bool> linked(store.entries.size());
    for (const std::uint32_t position : store.chain_records)
        linked[position] = true;
    if (store.by_lsn) return lost_of_ordered(store, linked);
    uni::sealed_index loose;  // key: LSN
    for (std::uint32_t position = 0; position < store.entries.size(); ++position) {
        if (!linked[position]) loose.add(store.entries[position].this_lsn(), position);
    }
    if (loose.empty()) return {};
    loose.seal_unique();
    std::vector<bool> repeated(loose.size());
    std::size_t near = 0;
    for (const std::uint32_t position : store.chain_records) {
        if (loose.find_near(store.entries[position].this_lsn(), near) != nullptr) repeated[near] = true;
    }
    std::vector<std::uint32_t> lost;
    for (std::size_t at = 0; at < loose.size(); ++at) {
        if (!repeated[at]) lost.push_back(loose.entries()[at].position);
    }
    return lost;
}

// Records without a chain, and the chains that they make.
class cut_linker {
public:
    explicit cut_linker(log_store& store) : m_store(store), m_taken(store.entries.size()) {
        std::vector<std::uint32_t> in_file = lost_records(store);
        for (const std::uint32_t position : in_file)
            m_lost.add(store.entries[position].this_lsn(), position);
        // In the order of the file, so that of two with one predecessor the first follows it.
        std::ranges::sort(in_file);
        for (const std::uint32_t position : in_file)
            m_by_previous.add(store.entries[position].client_previous_lsn(), position);
        m_by_previous.seal_unique();
    }

    // First what follows nothing that is left, then what another record has kept from following, then circles.
    void link() {
        begin_chains([this](std::uint32_t position) { return !m_lost.find(previous_of(position)); });
        begin_chains([this](std::uint32_t position) { return m_by_previous.find(previous_of(position)) != position; });
        begin_chains([](std::uint32_t) { return true; });
    }

private:
    std::uint64_t lsn_of(std::uint32_t position) const { return m_store.entries[position].this_lsn(); }
    std::uint64_t previous_of(std::uint32_t position) const { return m_store.entries[position].client_previous_lsn(); }

    // By LSN, so that the lowest of a circle begins it.
    template <class test>
    void begin_chains(test&& begins) {
        for (const uni::index_entry& lost : m_lost.entries()) {
            if (!m_taken[lost.position] && begins(lost.position)) add_chain(lost.position);
        }
    }

    void add_chain(std::uint32_t first) {
        m_taken[first] = true;
        append_chain(m_store, first, true, m_taken,
                     [this](std::uint32_t position) { return m_by_previous.find_near(lsn_of(position), m_near); });
    }

    log_store& m_store;
    uni::sealed_index m_lost;         // key: LSN
    uni::sealed_index m_by_previous;  // key: LSN of the predecessor; lost records only
    std::vector<bool> m_taken;        // by position
    std::size_t m_near = 0;
};

// The chains with their heads are in the order of LSNs already, and touched no more than it takes to find the places of
// the others, of which there are few as a rule.
void add_cut_chains(log_store& store) {
    auto& chains = store.chain_heads;
    const auto lsn = [&store](const chain_head& chain) { return store.lsn_of(chain); };
    const auto whole = static_cast<std::ptrdiff_t>(chains.size());
    cut_linker(store).link();
    std::vector<chain_head> cut(chains.begin() + whole, chains.end());
    std::ranges::stable_sort(cut, {}, lsn);
    auto rest = chains.begin() + whole;  // the end of those that have no place yet
    for (auto place = chains.end(); !cut.empty(); cut.pop_back()) {
        const auto next = std::ranges::upper_bound(chains.begin(), rest, lsn(cut.back()), {}, lsn);
        place = std::move_backward(next, rest, place);
        *--place = cut.back();
        rest = next;
    }
}

}  // namespace

void link_cut_chains(log_store& store) {
    const std::size_t whole = store.chain_heads.size();
    try {
        add_cut_chains(store);
    } catch (const std::bad_alloc&) {
        store.chain_heads.resize(whole);  // not some of them, nor out of order
        throw;
    }
    uni::release_room(store.chain_heads);
    uni::release_room(store.chain_records);
}

}  // namespace kest
