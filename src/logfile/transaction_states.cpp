#include "logfile/transaction_states.h"

#include <algorithm>

#include "logfile/operation.h"

namespace kest {

namespace {

using namespace operation_code;

// The tables of a checkpoint, and what describes an open attribute, stand in chains of their own.
bool belongs_to_checkpoint(const log_entry& entry) {
    return !entry.of_client() ||
           (entry.redo_op() >= open_nonresident_attribute && entry.redo_op() <= transaction_table_dump) ||
           (entry.redo_op() == noop && entry.undo_op() == noop);
}

class transaction_classifier {
public:
    explicit transaction_classifier(const log_store& log) : m_log(log) {
        m_states.of_chain.reserve(log.chain_heads.size());
        m_states.rolled_back.resize(log.entries.size());
    }

    transaction_states run() {
        for (const chain_head& chain : m_log.chain_heads) {
            m_undo_stack.clear();
            m_steps = m_steps_rolled_back = 0;
            m_outcome = {};
            for (const std::uint32_t position : m_log.records(chain)) {
                prefetch_record(m_log, position);
                add(position);
            }
            m_states.of_chain.push_back(outcome());
        }
        return std::move(m_states);
    }

private:
    void add(std::uint32_t position) {
        const log_entry& entry = m_log.entries[position];
        if (belongs_to_checkpoint(entry)) return;
        m_outcome.state = transaction_state::open;
        if (entry.redo_op() == commit_transaction || entry.redo_op() == forget_transaction) {
            m_outcome.ended = true;
        } else if (entry.undo_op() == compensation_log_record) {
            roll_back(entry);
        } else {
            if (is_step(entry)) ++m_steps;
            m_undo_stack.push_back(position);
        }
    }

    static bool is_step(const log_entry& entry) { return entry.undo_op() != noop; }

    // A record that compensates states how far its transaction is undone by it: to the LSN that is to be undone next.
    // One that ends a nested action states it too, but what it goes back over stands from then on.
    void roll_back(const log_entry& compensation) {
        if (compensation.redo_op() == prepare_transaction) return;
        const bool stands = compensation.redo_op() == noop || compensation.redo_op() == end_top_level_action;
        const std::uint64_t undo_next = compensation.get(record_layout::client_undo_next_lsn);
        for (; !m_undo_stack.empty(); m_undo_stack.pop_back()) {
            const std::uint32_t position = m_undo_stack.back();
            const log_entry& entry = m_log.entries[position];
            if (entry.this_lsn() <= undo_next) break;
            if (stands) continue;
            m_states.rolled_back[position] = true;
            if (is_step(entry)) ++m_steps_rolled_back;
        }
    }

    transaction_states::outcome outcome() const {
        transaction_states::outcome found = m_outcome;
        if (found.state == transaction_state::none) return found;
        if (m_steps_rolled_back != 0 && m_steps_rolled_back == m_steps) {
            found.state = transaction_state::rolled_back;
        } else {
            found.partly_rolled_back = m_steps_rolled_back != 0;
            if (found.ended) found.state = transaction_state::committed;
        }
        return found;
    }

    const log_store& m_log;
    transaction_states m_states;
    transaction_states::outcome m_outcome;    // of the chain at hand
    std::vector<std::uint32_t> m_undo_stack;  // its records that a compensation may still go back over
    std::uint64_t m_steps = 0;
    std::uint64_t m_steps_rolled_back = 0;
};

}  // namespace

transaction_states find_transaction_states(const log_store& log) {
    return transaction_classifier(log).run();
}

std::vector<std::uint32_t> number_transactions(const log_store& log) {
    std::vector<std::uint32_t> numbers(log.entries.size(), no_transaction);
    for (std::uint32_t chain = 0; chain < log.chain_heads.size(); ++chain) {
        for (const std::uint32_t position : log.records(log.chain_heads[chain]))
            numbers[position] = chain;
    }
    return numbers;
}

std::vector<std::uint32_t> number_transactions(const log_store& log, std::span<const std::uint32_t> positions) {
    std::vector<bool> asked(log.entries.size());
    for (const std::uint32_t position : positions)
        asked[position] = true;
    std::vector<std::uint32_t> numbers(positions.size(), no_transaction);
    for (std::uint32_t chain = 0; chain < log.chain_heads.size(); ++chain) {
        for (const std::uint32_t position : log.records(log.chain_heads[chain])) {
            if (!asked[position]) continue;
            numbers[static_cast<std::size_t>(std::ranges::lower_bound(positions, position) - positions.begin())] =
                chain;
        }
    }
    return numbers;
}

transaction_tally tally_transactions(const log_store& log, const transaction_states& states) {
    transaction_tally tally;
    for (std::size_t at = 0; at < log.chain_heads.size(); ++at) {
        const chain_head& chain = log.chain_heads[at];
        const transaction_states::outcome& outcome = states.of_chain[at];
        if (outcome.state == transaction_state::none) {
            tally.records_of_none += chain.count;
            continue;
        }
        (chain.cut ? tally.records_of_cut : tally.records_of_whole) += chain.count;
        if (chain.cut) ++tally.cut;
        if (outcome.partly_rolled_back) ++tally.partly_rolled_back;
        switch (outcome.state) {
            case transaction_state::committed:
                ++tally.committed;
                break;
            case transaction_state::rolled_back:
                ++tally.rolled_back;
                break;
            default:
                ++tally.open;
        }
    }
    return tally;
}

}  // namespace kest
