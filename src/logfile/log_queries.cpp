#include "logfile/log_queries.h"

#include <algorithm>

namespace kest {

namespace {

constexpr std::uint32_t page_shift = 12;                 // pages of 4096 bytes
constexpr std::uint64_t page_offset_mask = 0xFFFF'F000;  // Kept: 32 bits, so that pages after 4 GiB are not found

std::vector<std::vector<std::uint32_t>> index_operations(std::span<const log_entry> entries) {
    std::vector<std::vector<std::uint32_t>> index;
    const auto add = [&index](std::uint16_t operation, std::uint32_t position) {
        if (operation >= index.size()) index.resize(operation + 1U);
        index[operation].push_back(position);
    };
    for (std::uint32_t position = 0; position < entries.size(); ++position) {
        const log_entry& entry = entries[position];
        add(entry.redo_op(), position);
        if (entry.undo_op() != entry.redo_op()) add(entry.undo_op(), position);
    }
    return index;
}

}  // namespace

const std::vector<std::uint32_t>& log_queries::entries_for_opcode(std::uint32_t operation) {
    static const std::vector<std::uint32_t> none;
    if (m_by_opcode.empty()) m_by_opcode = index_operations(m_store.entries);
    return operation < m_by_opcode.size() ? m_by_opcode[operation] : none;
}

std::vector<std::uint32_t> log_queries::entries_for_chain(std::uint64_t lsn) {
    if (m_by_lsn.empty()) m_by_lsn = index_entries(m_store, &log_entry::this_lsn);
    std::vector<std::uint32_t> chain;
    std::vector<bool> listed(m_store.entries.size());
    for (auto found = m_by_lsn.find(lsn); found && !listed[*found]; found = m_by_lsn.find(lsn)) {
        listed[*found] = true;
        chain.push_back(*found);
        lsn = m_store.entries[*found].client_previous_lsn();
        if (lsn == 0) break;
    }
    return chain;
}

std::vector<std::uint32_t> log_queries::entries_for_page(std::uint32_t page_number) {
    if (m_by_offset.empty()) m_by_offset = index_entries(m_store, &log_entry::file_offset);
    const std::uint32_t key = (page_number - 1) << page_shift;
    std::vector<std::uint32_t> page;
    const auto& entries = m_by_offset.entries();
    for (std::size_t at = m_by_offset.lower_bound(key);
         at < entries.size() && (entries[at].key & page_offset_mask) == key; ++at) {
        page.push_back(entries[at].position);
    }
    return page;
}

}  // namespace kest
