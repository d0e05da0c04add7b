#pragma once

#include <compare>
#include <cstdint>
#include <span>
#include <vector>

#include "events/transaction_facts.h"
#include "journal/journal_cursor.h"

namespace kest {

// The journal records that stand in a log, and which of them stand in the journal file, too.
class logged_records {
public:
    static constexpr std::uint64_t nowhere = ~std::uint64_t{0};

    // What tells records apart: another volume's journal has the same numbers.
    struct record_key {
        std::uint64_t usn = 0;
        inode_ref file;
        std::uint64_t time = 0;
        std::uint32_t reasons = 0;

        explicit record_key(const usn_record& record);
        auto operator<=>(const record_key&) const = default;
    };
    struct logged_record {
        record_key key;
        std::uint32_t entry = 0;        // position in the log
        std::uint32_t known = 0;        // the reasons that the file's records in the journal file gave ahead of it
        std::uint64_t place = nowhere;  // in the journal file
    };

    // Takes the facts of the transactions, one after the other; `seal` ends that.
    void add(std::span<const event_fact> facts);
    void seal();

    bool has(const journal_record& record) const { return !equal_records(record_key(record.usn)).empty(); }
    // Notes where a record of the journal file stands, if the log has it, and what was known ahead of it.
    void note(const journal_record& record, std::uint32_t known);

    // Null if the fact is about no record of the journal file.
    const logged_record* in_file(const event_fact& fact) const;
    // Whether any was found there.
    bool meet_file() const { return m_found; }

private:
    std::span<const logged_record> equal_records(const record_key& key) const;

    std::vector<logged_record> m_records;  // by key, then position
    bool m_found = false;
};

}  // namespace kest
