#include <algorithm>

#include "logfile/log_store.h"

namespace kest {

namespace {

std::vector<std::uint64_t> linked_lsns(const log_store& store) {
    std::vector<std::uint64_t> lsns;
    lsns.reserve(store.chain_heads.size() + store.chain_members.size());
    for (const chain_head& head : store.chain_heads)
        lsns.push_back(head.lsn);
    for (const std::uint32_t member : store.chain_members)
        lsns.push_back(store.entries[member].this_lsn);
    std::ranges::sort(lsns);
    return lsns;
}

// Records without a chain, and the chains that they make.
class cut_linker {
public:
    explicit cut_linker(log_store& store) : m_store(store), m_taken(store.entries.size()) {
        const std::vector<std::uint64_t> linked = linked_lsns(store);
        for (std::uint32_t position = 0; position < store.entries.size(); ++position) {
            const std::uint64_t lsn = store.entries[position].this_lsn;
            if (!std::ranges::binary_search(linked, lsn)) m_lost.add(lsn, position);
        }
        m_lost.seal_unique();
        // In the order of the file, so that of two with one predecessor the first follows it.
        std::vector<std::uint32_t> in_file;
        for (const uni::index_entry& lost : m_lost.entries())
            in_file.push_back(lost.position);
        std::ranges::sort(in_file);
        for (const std::uint32_t position : in_file)
            m_by_previous.add(store.entries[position].client_previous_lsn, position);
        m_by_previous.seal_unique();
    }

    // First what follows nothing that is left, then what another record has kept from following, then circles.
    void link() {
        begin_chains([this](std::uint32_t position) { return !m_lost.find(previous_of(position)); });
        begin_chains([this](std::uint32_t position) { return m_by_previous.find(previous_of(position)) != position; });
        begin_chains([](std::uint32_t) { return true; });
    }

private:
    std::uint64_t previous_of(std::uint32_t position) const { return m_store.entries[position].client_previous_lsn; }

    // By LSN, so that the lowest of a circle begins it.
    template <class test>
    void begin_chains(test&& begins) {
        for (const uni::index_entry& lost : m_lost.entries()) {
            if (!m_taken[lost.position] && begins(lost.position)) add_chain(lost.position);
        }
    }

    void add_chain(std::uint32_t first) {
        chain_head head{.lsn = m_store.entries[first].this_lsn, .entry = first, .cut = true};
        head.first_member = static_cast<std::uint32_t>(m_store.chain_members.size());
        m_taken[first] = true;
        for (std::uint64_t current = head.lsn;;) {
            const auto next = m_by_previous.find(current);
            if (!next || m_taken[*next]) break;
            m_taken[*next] = true;
            m_store.chain_members.push_back(*next);
            current = m_store.entries[*next].this_lsn;
        }
        head.member_count = static_cast<std::uint32_t>(m_store.chain_members.size()) - head.first_member;
        m_store.chain_heads.push_back(head);
    }

    log_store& m_store;
    uni::sealed_index m_lost;         // key: LSN
    uni::sealed_index m_by_previous;  // key: LSN of the predecessor; lost records alone
    std::vector<bool> m_taken;        // by position
};

}  // namespace

void link_cut_chains(log_store& store) {
    cut_linker(store).link();
    std::ranges::stable_sort(store.chain_heads, {}, &chain_head::lsn);
}

}  // namespace kest
