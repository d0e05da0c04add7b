#pragma once

#include <algorithm>
#include <compare>
#include <cstdint>
#include <span>
#include <vector>

#include "journal/journal_cursor.h"
#include "logfile/log_store.h"
#include "logfile/transaction_states.h"
#include "mft/record_view.h"
#include "operations/record_fact.h"
#include "portable/prefetch.h"

namespace kest {

// An index entry or a journal record in the log: what it states of a file outside of the file's own record.
class log_fact {
public:
    log_fact(const record_fact& fact, std::uint32_t place, bool undone)
        : file(fact.file),
          position(place),
          kind(fact.kind),
          rolled_back(undone),
          m_size(static_cast<std::uint16_t>(std::min<std::size_t>(fact.data.size(), 0xFFFF))),
          m_data(fact.data.bytes().data()) {}

    bool is_journal_record() const { return kind == fact_kind::journal_record; }
    usn_record usn() const { return *read_usn_record(data()); }            // of a journal record
    file_name_view name() const { return *file_name_view::read(data()); }  // of an index entry
    bool names_directory() const;
    // Asks for what it states, which is read soon.
    void prefetch() const { uni::prefetch(m_data); }

    inode_ref file;
    std::uint32_t position;  // in the log
    fact_kind kind;
    bool rolled_back;

private:
    uni::byte_view data() const { return std::span(m_data, m_size); }

    std::uint16_t m_size;  // as the log record states it, in 16 bits
    const std::uint8_t* m_data;
};

// The record of the journal file that is the same as one of the log.
struct journal_match {
    static constexpr std::uint64_t not_in_file = ~std::uint64_t{0};

    std::uint64_t offset = not_in_file;  // in the file
    std::uint32_t known_reasons = 0;     // those that the file's records there gave before it
};

struct transaction_facts {
    std::uint32_t number = 0;              // of the chain
    std::uint32_t head = 0;                // position of its first record
    bool cut = false;                      // its beginning is lost
    bool ended = false;                    // a record says so
    bool splits_index = false;             // index entries move
    std::span<const log_fact> facts;       // in the order of the steps
    std::span<const std::uint64_t> taken;  // numbers of the file records that were free until now, in order

    bool takes(std::uint64_t file_record) const { return std::ranges::binary_search(taken, file_record); }
};

// The time that a journal record states; 0: none that a calendar has.
std::uint64_t calendar_time(const usn_record& record);

// The facts of all transactions of a log, and which of its journal records the journal file holds, too.
class log_facts {
public:
    log_facts(const log_store& log, const transaction_states& states, const mft_geometry& geometry);

    std::span<const log_fact> all() const { return m_facts; }
    std::uint32_t transaction_count() const { return static_cast<std::uint32_t>(m_extents.size() - 1); }
    // `number` is that of the chain.
    transaction_facts of_transaction(std::uint32_t number) const;

    // Asks for the facts of a transaction whose turn comes soon.
    void prefetch(std::uint32_t number) const {
        if (number >= transaction_count()) return;
        for (std::uint32_t at = m_extents[number].first_fact; at < m_extents[number + 1].first_fact; ++at)
            m_facts[at].prefetch();
    }

    // Ahead of the questions about a journal file.
    void index_journal_records();
    bool holds(const journal_record& record) const { return !find_equal(record_key(record.usn)).empty(); }
    // Notes where a record of the journal file stands, if the log has it, and which reasons were known before it.
    void match(const journal_record& record, std::uint32_t known_reasons);
    bool any_matched() const { return m_any_matched; }
    journal_match match_of(const log_fact& fact) const {
        return m_matches.empty() ? journal_match{} : m_matches[static_cast<std::size_t>(&fact - m_facts.data())];
    }

private:
    // What makes two records one: another volume's journal has the same numbers.
    struct record_key {
        std::uint64_t usn = 0;
        inode_ref file;
        std::uint64_t time = 0;
        std::uint32_t reasons = 0;

        explicit record_key(const usn_record& record);
        auto operator<=>(const record_key&) const = default;
    };
    struct indexed_record {
        record_key key;
        std::uint32_t fact = 0;  // in `m_facts`
    };
    struct transaction_extent {
        std::uint32_t first_fact = 0;
        std::uint32_t first_taken = 0;
    };

    void begin_transaction();
    void read_record(std::uint32_t position, const mft_geometry& geometry);
    std::span<const indexed_record> find_equal(const record_key& key) const;

    const log_store& m_log;
    const transaction_states& m_states;
    uni::large_vector<log_fact> m_facts;
    std::vector<std::uint64_t> m_taken;
    std::vector<transaction_extent> m_extents;  // of the transactions; the last one ends them
    std::vector<bool> m_splits_index;           // likewise
    std::vector<indexed_record> m_by_key;       // then by position
    std::vector<journal_match> m_matches;       // of each fact; empty without a journal file
    bool m_any_matched = false;
};

}  // namespace kest
