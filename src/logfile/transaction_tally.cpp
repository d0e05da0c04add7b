#include "logfile/transaction_tally.h"

#include <vector>

#include "logfile/operation.h"

namespace kest {

namespace {

using namespace operation_code;

// The tables of a checkpoint, and what tells of an open attribute, stand in chains of their own.
bool belongs_to_checkpoint(const log_entry& entry) {
    return entry.get(record_layout::record_type) != record_types::client ||
           (entry.redo_op >= open_nonresident_attribute && entry.redo_op <= transaction_table_dump) ||
           (entry.redo_op == noop && entry.undo_op == noop);
}

class chain_judge {
public:
    explicit chain_judge(transaction_tally& tally) : m_tally(tally) {}

    void begin() {
        m_standing.clear();
        m_records = m_steps = m_taken_back = 0;
        m_is_transaction = m_ended = false;
    }

    void add(const log_entry& entry) {
        ++m_records;
        if (belongs_to_checkpoint(entry)) return;
        m_is_transaction = true;
        if (entry.redo_op == commit_transaction || entry.redo_op == forget_transaction) {
            m_ended = true;
        } else if (entry.undo_op == compensation_log_record) {
            take_back(entry);
        } else if (entry.undo_op != noop) {
            ++m_steps;
            m_standing.push_back(entry.this_lsn);
        }
    }

    void end(bool cut) {
        if (!m_is_transaction) {
            m_tally.records_of_none += m_records;
            return;
        }
        (cut ? m_tally.records_of_cut : m_tally.records_of_whole) += m_records;
        if (cut) ++m_tally.cut;
        if (m_taken_back != 0 && m_taken_back == m_steps) {
            ++m_tally.undone;
            return;
        }
        if (m_taken_back != 0) ++m_tally.partly_undone;
        ++(m_ended ? m_tally.done : m_tally.open);
    }

private:
    // A record that compensates says how far back its transaction is undone by it: to the LSN that is to be undone
    // next. One that ends a nested action says so too, but what it goes back over stands from then on.
    void take_back(const log_entry& entry) {
        if (entry.redo_op == prepare_transaction) return;
        const bool stands = entry.redo_op == noop || entry.redo_op == end_top_level_action;
        const std::uint64_t left = entry.get(record_layout::client_undo_next_lsn);
        for (; !m_standing.empty() && m_standing.back() > left; m_standing.pop_back()) {
            if (!stands) ++m_taken_back;
        }
    }

    transaction_tally& m_tally;
    std::vector<std::uint64_t> m_standing;  // LSNs of steps that can still be taken back
    std::uint64_t m_records = 0;
    std::uint64_t m_steps = 0;
    std::uint64_t m_taken_back = 0;
    bool m_is_transaction = false;
    bool m_ended = false;
};

}  // namespace

transaction_tally tally_transactions(const log_store& log) {
    transaction_tally tally;
    chain_judge judge(tally);
    for (const chain_head& head : log.chain_heads) {
        judge.begin();
        judge.add(log.entries[head.entry]);
        for (const std::uint32_t member : log.members(head))
            judge.add(log.entries[member]);
        judge.end(head.cut);
    }
    return tally;
}

}  // namespace kest
