#include "logfile/log_store.h"

#include "portable/reserve.h"

namespace kest {

void append_chain(log_store& store, std::uint32_t head, bool cut, const uni::sealed_index& by_previous,
                  std::vector<bool>& in_chain, std::size_t& near) {
    const auto first = static_cast<std::uint32_t>(store.chain_records.size());
    const std::uint64_t lsn = store.entries[head].this_lsn;
    store.chain_records.push_back(head);
    for (std::uint64_t current = lsn;;) {
        const uni::index_entry* const next = by_previous.find_near(current, near);
        if (next == nullptr || in_chain[next->position]) break;
        in_chain[next->position] = true;
        store.chain_records.push_back(next->position);
        current = store.entries[next->position].this_lsn;
    }
    store.chain_heads.push_back({.lsn = lsn,
                                 .first = first,
                                 .count = static_cast<std::uint32_t>(store.chain_records.size()) - first,
                                 .cut = cut});
}

void link_chains(log_store& store) {
    uni::sealed_index by_previous;  // key: LSN of the predecessor; the first record that names it
    uni::sealed_index heads;        // key: LSN; the first head of it
    uni::try_reserve(by_previous, store.entries.size());
    uni::try_reserve(heads, store.entries.size());
    for (std::uint32_t position = 0; position < store.entries.size(); ++position) {
        const log_entry& entry = store.entries[position];
        if (entry.client_previous_lsn != 0) {
            by_previous.add(entry.client_previous_lsn, position);
        } else {
            heads.add(entry.this_lsn, position);
        }
    }
    by_previous.seal_unique();
    heads.seal_unique();
    uni::try_reserve(store.chain_heads, heads.size());
    uni::try_reserve(store.chain_records, heads.size() + by_previous.size());
    std::vector<bool> in_chain(store.entries.size());
    std::size_t near = 0;
    for (const uni::index_entry& head : heads.entries())
        append_chain(store, head.position, false, by_previous, in_chain, near);
}

uni::sealed_index index_entries(const log_store& store, std::uint64_t log_entry::*key) {
    uni::sealed_index index;
    index.reserve(store.entries.size());
    for (std::uint32_t position = 0; position < store.entries.size(); ++position)
        index.add(store.entries[position].*key, position);
    index.seal_unique();
    return index;
}

void log_store_reset(log_store& store) {
    carry_buffer pending = std::move(store.carry);
    store = log_store{};
    store.carry = std::move(pending);
}

}  // namespace kest
