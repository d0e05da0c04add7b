#include "logfile/log_store.h"

#include "portable/reserve.h"

namespace kest {

namespace {

struct chain_links {
    uni::sealed_index by_previous;  // key: LSN of the predecessor; the first record that names it
    uni::sealed_index heads;        // key: LSN; the first head of it
};

chain_links collect_links(std::span<const log_entry> entries) {
    chain_links links;
    uni::try_reserve(links.by_previous, entries.size());
    uni::try_reserve(links.heads, entries.size());
    for (std::uint32_t position = 0; position < entries.size(); ++position) {
        const log_entry& entry = entries[position];
        if (entry.client_previous_lsn != 0) {
            links.by_previous.add(entry.client_previous_lsn, position);
        } else {
            links.heads.add(entry.this_lsn, position);
        }
    }
    links.by_previous.seal_unique();
    links.heads.seal_unique();
    return links;
}

}  // namespace

bool link_chains(log_store& store) {
    const chain_links links = collect_links(store.entries);
    uni::try_reserve(store.chain_heads, links.heads.size());
    for (const uni::index_entry& head : links.heads.entries()) {
        store.chain_heads.push_back({.lsn = head.key, .entry = head.position});
    }
    if (links.heads.empty() || links.by_previous.empty()) return false;

    // A record joins the chain of the first head that reaches it: no walk is endless, whatever the links say.
    uni::try_reserve(store.chain_members, links.by_previous.size());
    std::vector<bool> in_chain(store.entries.size());
    std::size_t near = 0;
    for (chain_head& head : store.chain_heads) {
        head.first_member = static_cast<std::uint32_t>(store.chain_members.size());
        for (std::uint64_t current = head.lsn;;) {
            const uni::index_entry* const next = links.by_previous.find_near(current, near);
            if (next == nullptr || in_chain[next->position]) break;
            in_chain[next->position] = true;
            store.chain_members.push_back(next->position);
            current = store.entries[next->position].this_lsn;
        }
        head.member_count = static_cast<std::uint32_t>(store.chain_members.size()) - head.first_member;
    }
    return true;
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
