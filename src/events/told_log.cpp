#include "events/told_log.h"

#include <algorithm>

#include "logfile/operation.h"
#include "mft/record_view.h"
#include "portable/seeded_map.h"

namespace kest {

namespace {

using namespace operation_code;

class fact_gatherer {
public:
    explicit fact_gatherer(const log_store& log) : m_log(log) {
        m_told.facts.reserve(log.entries.size());  // more than there are; what is not written to costs nothing
    }

    told_log run() {
        for (const chain_head& head : m_log.chain_heads)
            add_transaction(head);
        for (const log_entry& entry : m_log.entries)
            m_told.highest_lsn = std::max(m_told.highest_lsn, entry.this_lsn);
        return std::move(m_told);
    }

private:
    void add_transaction(const chain_head& head) {
        m_transaction = {
            .first_fact = static_cast<std::uint32_t>(m_told.facts.size()), .head = head.entry, .cut = head.cut};
        m_standing.clear();
        ++m_number;
        add_record(head.entry);
        for (const std::uint32_t member : m_log.members(head))
            add_record(member);
        m_transaction.fact_count = static_cast<std::uint32_t>(m_told.facts.size()) - m_transaction.first_fact;
        if (m_transaction.fact_count != 0) m_told.transactions.push_back(m_transaction);
    }

    void add_record(std::uint32_t position) {
        const log_entry& entry = m_log.entries[position];
        note_operation(entry);
        if (entry.undo_op == compensation_log_record) return take_back(entry);
        const record_fact fact = proved_fact(entry, m_log.place);
        if (fact.kind == fact_kind::none) return;
        const auto place = static_cast<std::uint32_t>(m_told.facts.size());
        told_fact& told = m_told.facts.emplace_back();
        told.lsn = entry.this_lsn;
        told.file = fact.file;
        told.data = fact.data;
        told.entry = position;
        told.place = fact.place;
        told.kind = fact.kind;
        m_standing.push_back(place);
        tell_rewrites(told);
    }

    void note_operation(const log_entry& entry) {
        switch (entry.redo_op) {
            case commit_transaction:
            case forget_transaction:
                if (entry.get(record_layout::record_type) == record_types::client) m_transaction.done = true;
                break;
            case write_end_of_index_buffer:
            case set_index_entry_vcn_root:
            case set_index_entry_vcn_allocation:
                m_transaction.splits_index = true;
                break;
            default:
                break;
        }
    }

    // A record that compensates says how far back its transaction is undone by it: to the LSN that is to be undone
    // next. One that ends a nested action says so too, but what it goes back over stands from then on.
    void take_back(const log_entry& entry) {
        if (entry.get(record_layout::record_type) != record_types::client) return;
        if (entry.redo_op >= prepare_transaction && entry.redo_op <= forget_transaction) return;
        const bool stands = entry.redo_op == noop || entry.redo_op == end_top_level_action;
        const std::uint64_t left = entry.get(record_layout::client_undo_next_lsn);
        while (!m_standing.empty() && m_told.facts[m_standing.back()].lsn > left) {
            if (!stands) m_told.facts[m_standing.back()].undone = true;
            m_standing.pop_back();
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
    told_log m_told;
    told_transaction m_transaction;
    std::uint32_t m_number = 0;                 // of the transaction, from 1
    std::vector<std::uint32_t> m_standing;      // places of the facts that a compensation may still undo
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
