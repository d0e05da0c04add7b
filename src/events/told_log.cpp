#include "events/told_log.h"

#include <algorithm>

#include "logfile/operation.h"
#include "logfile/transaction_states.h"
#include "mft/record_view.h"
#include "portable/seeded_map.h"

namespace kest {

namespace {

using namespace operation_code;

class fact_gatherer {
public:
    explicit fact_gatherer(const log_store& log) : m_log(log), m_states(find_transaction_states(log)) {
        m_told.facts.reserve(log.entries.size());  // more than there are; what is not written to costs nothing
    }

    told_log run() {
        for (std::size_t at = 0; at < m_log.chain_heads.size(); ++at)
            add_transaction(m_log.chain_heads[at], m_states.of_chain[at].ended);
        for (const log_entry& entry : m_log.entries)
            m_told.highest_lsn = std::max(m_told.highest_lsn, entry.this_lsn);
        return std::move(m_told);
    }

private:
    void add_transaction(const chain_head& chain, bool ended) {
        const std::span<const std::uint32_t> records = m_log.records(chain);
        m_transaction = {.first_fact = static_cast<std::uint32_t>(m_told.facts.size()),
                         .head = records.front(),
                         .cut = chain.cut,
                         .done = ended};
        ++m_number;
        for (const std::uint32_t position : records)
            add_record(position);
        m_transaction.fact_count = static_cast<std::uint32_t>(m_told.facts.size()) - m_transaction.first_fact;
        if (m_transaction.fact_count != 0) m_told.transactions.push_back(m_transaction);
    }

    void add_record(std::uint32_t position) {
        const log_entry& entry = m_log.entries[position];
        note_operation(entry);
        const record_fact fact = proved_fact(entry, m_log.place);
        if (fact.kind == fact_kind::none) return;
        told_fact& told = m_told.facts.emplace_back();
        told.lsn = entry.this_lsn;
        told.file = fact.file;
        told.data = fact.data;
        told.entry = position;
        told.place = fact.place;
        told.kind = fact.kind;
        told.undone = m_states.rolled_back[position];
        tell_rewrites(told);
    }

    void note_operation(const log_entry& entry) {
        switch (entry.redo_op) {
            case write_end_of_index_buffer:
            case set_index_entry_vcn_root:
            case set_index_entry_vcn_allocation:
                m_transaction.splits_index = true;
                break;
            default:
                break;
        }
    }

    // A file record is written again as a whole where its old image stands ahead: that is no birth.
    void tell_rewrites(told_fact& told) {
        if (told.kind == fact_kind::image_before && file_record_view(told.data).in_use()) {
            m_replaced[told.file.value()] = m_number;
        } else if (told.kind == fact_kind::image && !m_replaced.empty()) {
            std::uint32_t& replaced = m_replaced[told.file.value()];
            told.rewritten = replaced == m_number;
            replaced = 0;
        }
    }

    const log_store& m_log;
    const transaction_states m_states;
    told_log m_told;
    told_transaction m_transaction;
    std::uint32_t m_number = 0;                 // of the transaction, from 1
    uni::seeded_map<std::uint32_t> m_replaced;  // by file reference: the transaction whose old image awaits its new one
};

}  // namespace

bool told_fact::is_birth() const {
    if (kind != fact_kind::image || rewritten) return false;
    const file_record_view record(data);
    return record.in_use() && record.base() == inode_ref{};
}

told_log gather_facts(const log_store& log) {
    return fact_gatherer(log).run();
}

}  // namespace kest
