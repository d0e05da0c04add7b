#include "transactions/walk.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "operations/operation_table.h"
#include "transactions/entry_progress.h"
#include "transactions/running_time.h"

namespace kest {

namespace {

// How many members of a transaction are kept decoded until their turn comes, and what their texts may take together.
// The others are decoded again.
constexpr std::size_t most_decoded = 4096;
constexpr std::size_t most_text = 16 << 20;  // bytes

struct decoded_record {
    entry_info info;
    std::size_t text_room = 0;  // bytes that its text takes
    bool kept = true;
};

// What a journal says of the transaction at hand.
struct chain_fact {
    static constexpr std::size_t no_member = SIZE_MAX;

    journal_fact told;
    std::size_t source = no_member;  // index of the member that brought it; none: nobody, or the head
    inode_ref file;                  // the first member's file that a journal record speaks of
    inode_ref parent;
};

void take_record(entry_info& info, const inode_record& record) {
    info.inode = record.ref();
    if (!record.parents.empty()) info.parent = record.first_parent();
}

void take_fact(entry_info& info, const journal_fact& fact) {
    info.usn_time = fact.time;
    info.usn_reason = fact.reason;
}

// What one record of the transaction told of the file and the time holds for all of it.
void spread(const chain_fact& fact, entry_info& info) {
    if (fact.file.number() != 0 && info.inode.number() == fact.file.number()) {
        info.inode = fact.file;
        info.parent = fact.parent;
    }
    if (fact.told.time != 0) take_fact(info, fact.told);
}

class transaction_walk {
public:
    transaction_walk(evidence& stores, const walk_settings& settings, diagnostics& diags, teller& listener)
        : m_stores(stores),
          m_settings(settings),
          m_teller(listener),
          m_association(stores, diags, settings.guesses_allowed),
          m_journal_counts(!stores.journal.entries.empty() && !stores.inodes.records.empty()) {}

    void run() {
        const auto& heads = m_stores.log.chain_heads;
        for (std::size_t at = 0; at < heads.size(); ++at) {
            visit_older_records(heads[at].lsn);
            if (m_settings.show_progress) m_progress.show(at + 1, heads.size());
            visit_chain(heads[at]);
        }
    }

private:
    // The MFT's records and the log's are visited in one order, that of their LSNs.
    bool cursor_at_end() const { return m_cursor == m_stores.mft.inodes_by_lsn.size(); }
    std::uint64_t cursor_lsn() const { return m_stores.mft.inodes_by_lsn.entries()[m_cursor].key; }
    const inode_record& cursor_record() const {
        return m_stores.inodes.records[m_stores.mft.inodes_by_lsn.entries()[m_cursor].position];
    }
    bool cursor_holds(std::uint64_t lsn) const { return !cursor_at_end() && cursor_lsn() == lsn; }

    void visit_older_records(std::uint64_t lsn) {
        for (; !cursor_at_end() && cursor_lsn() < lsn; ++m_cursor) {
            if (m_settings.mft_records) {
                tell_mft_record(cursor_record());
            } else {
                time_from_inode(cursor_record(), m_last_time);
            }
        }
    }

    // Kept: a record's own time may lower the running estimate.
    void tell_mft_record(const inode_record& record) {
        journal_fact fact;
        lookup_journal(m_stores.journal, record.usn, fact);
        m_last_time = fact.time;
        if (!cv::has_calendar_form(fact.time)) {
            m_last_time = 0;
            time_from_inode(record, m_last_time);
        }
        m_teller.mft_record(record, m_last_time, fact);
    }

    bool lookup_cursor_record(journal_fact& fact) {
        journal_fact found;
        if (!m_journal_counts || !lookup_journal(m_stores.journal, cursor_record().usn, found)) return false;
        fact = found;
        return true;
    }

    void visit_chain(const chain_head& head) {
        const std::span<const std::uint32_t> records = m_stores.log.records(head);
        const log_entry& entry = m_stores.log.entries[records.front()];
        const std::span<const std::uint32_t> members = records.subspan(1);
        decode_redo(entry, m_head, m_settings.style);
        chain_fact fact;
        tie_head(entry, fact);
        const file_tie& tie = associate(entry, m_head);
        decode_members(members, fact);
        time_from_info(m_head, m_last_time);
        begin(head, fact);
        m_teller.tell({.entry = entry,
                       .head = true,
                       .time = m_last_time,
                       .shown = named_file(m_head.inode),
                       .redo = m_head,
                       .undo = decoded_undo(entry),
                       .tie = tie,
                       .file = m_head.inode,
                       .parent = m_head.parent,
                       .brought_journal = false});
        for (std::size_t at = 0; at < members.size(); ++at)
            visit_member(at, m_stores.log.entries[members[at]], fact);
        m_teller.end();
    }

    // Ties the head to the MFT record that holds its LSN, and by that to the journal. A head whose own bytes held a
    // journal record needs neither, and shows no reason.
    void tie_head(const log_entry& entry, chain_fact& fact) {
        if (m_head.usn_time != 0 || !cursor_holds(entry.this_lsn)) return;
        if (lookup_cursor_record(fact.told)) take_fact(m_head, fact.told);
        if (fact.told.time == 0) time_from_inode(cursor_record(), m_last_time);
        take_record(m_head, cursor_record());
        ++m_cursor;
    }

    // Decodes all members before the head's row is written, so that no head is shown earlier than its members, and
    // keeps the first of them.
    void decode_members(std::span<const std::uint32_t> members, chain_fact& fact) {
        const std::size_t kept = std::min(members.size(), most_decoded);
        if (m_members.size() < kept) m_members.resize(kept);
        for (std::size_t at = 0; at < members.size(); ++at) {
            decode_member(at, m_stores.log.entries[members[at]], at < kept ? m_members[at].info : m_again, fact);
            if (at < kept) keep_text(m_members[at]);
        }
        if (members.empty()) return;
        spread(fact, m_head);
        for (decoded_record& member : std::span(m_members).first(kept))
            spread(fact, member.info);
    }

    void decode_member(std::size_t at, const log_entry& entry, entry_info& info, chain_fact& fact) {
        decode_redo(entry, info, m_settings.style);
        if (info.usn_time != 0) {  // a later member overrides an earlier one
            fact.told = {.time = info.usn_time, .reason = info.usn_reason};
            fact.source = at;
        }
        time_from_info(info, m_last_time);
        if (fact.told.time == 0 && cursor_holds(entry.this_lsn) && lookup_cursor_record(fact.told)) {
            take_fact(info, fact.told);
            fact.source = at;
        }
        if (fact.file.number() == 0 && info.usn_time != 0) {
            fact.file = info.inode;
            fact.parent = info.parent;
        }
    }

    // What `decode_members` had of a member and did not keep. What it looked up of the member is the transaction's by
    // now, if it has a time.
    entry_info& decode_again(const log_entry& entry, const chain_fact& fact) {
        decode_redo(entry, m_again, m_settings.style);
        spread(fact, m_again);
        return m_again;
    }

    // Takes stock of a member's text, and drops it if there is no room.
    void keep_text(decoded_record& member) {
        details_writer& details = member.info.details;
        m_text_room -= member.text_room;
        member.kept = details.capacity() <= most_text - m_text_room;
        if (!member.kept) details.release();
        member.text_room = details.capacity();
        m_text_room += member.text_room;
    }

    void begin(const chain_head& head, const chain_fact& fact) {
        m_operations.clear();
        for (const std::uint32_t record : m_stores.log.records(head))
            m_operations.push_back(m_stores.log.entries[record].redo_op);
        m_teller.begin({.operations = m_operations, .fact = fact.told, .cut = head.cut});
    }

    void visit_member(std::size_t at, const log_entry& entry, const chain_fact& fact) {
        const bool kept = at < most_decoded && m_members[at].kept;
        entry_info& info = kept ? m_members[at].info : decode_again(entry, fact);
        visit_older_records(entry.this_lsn);
        if (cursor_holds(entry.this_lsn)) {
            time_from_inode(cursor_record(), m_last_time);
            take_record(info, cursor_record());
            ++m_cursor;
        }
        time_from_info(info, m_last_time);
        const std::optional<inode_ref> shown = own_file(entry, info.inode);
        if (shown) info.inode = *shown;
        const file_tie& tie = associate(entry, info);
        m_teller.tell({.entry = entry,
                       .head = false,
                       .time = m_last_time,
                       .shown = shown,
                       .redo = info,
                       .undo = decoded_undo(entry),
                       .tie = tie,
                       .file = info.inode,
                       .parent = info.parent,
                       .brought_journal = fact.source == at});
        if (kept) keep_text(m_members[at]);
    }

    static std::optional<inode_ref> named_file(inode_ref file) {
        return file.number() != 0 ? std::optional(file) : std::nullopt;
    }

    // A member whose data names no file is about the file record that it writes to.
    std::optional<inode_ref> own_file(const log_entry& entry, inode_ref named) const {
        if (named.number() != 0) return named;
        if (!record_has_inode(entry)) return std::nullopt;
        const std::uint64_t number = record_inode(entry, m_stores.log.place);
        if (number == 0 && entry.get(record_layout::target_vcn) == 0) return std::nullopt;
        return inode_ref(number, named.sequence());
    }

    const entry_info* decoded_undo(const log_entry& entry) {
        if (!m_settings.undo) return nullptr;
        decode_undo(entry, m_undo, m_settings.style);
        return &m_undo;
    }

    // What was found holds for the record from here on.
    const file_tie& associate(const log_entry& entry, entry_info& info) {
        m_stores.sequence_by_inode.note(info.inode);
        const file_tie& tie = m_association.associate_entry(entry, info);
        info.inode = tie.file;
        info.parent = tie.parent;
        m_stores.sequence_by_inode.note(info.inode);
        return tie;
    }

    evidence& m_stores;
    const walk_settings& m_settings;
    teller& m_teller;
    association m_association;
    const bool m_journal_counts;    // there are a journal and an inode store to look up in
    std::size_t m_cursor = 0;       // in `inodes_by_lsn`
    std::uint64_t m_last_time = 0;  // the running estimate
    entry_info m_head;
    std::vector<decoded_record> m_members;  // the first of the transaction at hand; kept for their strings
    std::vector<std::uint16_t> m_operations;
    std::size_t m_text_room = 0;  // bytes that the members' texts take
    entry_info m_again;           // of the member at hand, if it was not kept
    entry_info m_undo;            // of the record at hand
    entry_progress m_progress;
};

}  // namespace

void walk_transactions(evidence& stores, const walk_settings& settings, diagnostics& diags, teller& listener) {
    transaction_walk(stores, settings, diags, listener).run();
}

}  // namespace kest
