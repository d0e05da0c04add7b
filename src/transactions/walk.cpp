#include "transactions/walk.h"

#include <utility>
#include <vector>

#include "operations/operation_table.h"
#include "transactions/entry_progress.h"
#include "transactions/running_time.h"

namespace kest {

namespace {

// What the texts of a transaction's members may take together. One that finds no room is decoded again when its turn
// comes.
constexpr std::size_t most_text = 64 << 20;  // bytes

struct chain_record {
    const log_entry* entry = nullptr;
    entry_info info;
    std::size_t text_room = 0;  // bytes that its text takes
    bool text_kept = true;
};

// What a journal says of the transaction at hand.
struct chain_fact {
    journal_fact told;
    const chain_record* source = nullptr;  // null: none, or the head
    inode_ref file;                        // the first member's file that a journal record speaks of
    inode_ref parent;
};

void take_record(entry_info& info, const inode_record& record) {
    info.inode = record.ref();
    if (!record.parents.empty()) info.parent = record.first_parent();
}

// What one record of the transaction told of the file and the time holds for all of it.
void spread(const chain_fact& fact, entry_info& info) {
    if (fact.file.number() != 0 && info.inode.number() == fact.file.number()) {
        info.inode = fact.file;
        info.parent = fact.parent;
    }
    if (fact.told.time != 0) {
        info.usn_time = fact.told.time;
        info.usn_reason = fact.told.reason;
    }
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
        const std::span<const std::uint32_t> positions = m_stores.log.records(head);
        m_head.entry = &m_stores.log.entries[positions.front()];
        decode_redo(*m_head.entry, m_head.info, m_settings.style);
        chain_fact fact;
        tie_head(fact);
        const file_tie& tie = associate(m_head.entry, m_head.info);
        const std::span<chain_record> members = decode_members(positions.subspan(1), fact);
        time_from_info(m_head.info, m_last_time);
        begin(head, members, fact);
        m_teller.tell({.entry = *m_head.entry,
                       .head = true,
                       .time = m_last_time,
                       .shown = named_file(m_head.info.inode),
                       .redo = m_head.info,
                       .undo = decoded_undo(*m_head.entry),
                       .tie = tie,
                       .file = m_head.info.inode,
                       .parent = m_head.info.parent,
                       .brought_journal = false});
        for (chain_record& member : members)
            visit_member(member, fact);
        m_teller.end();
    }

    // Ties the head to the MFT record that holds its LSN, and by that to the journal. A head whose own bytes held a
    // journal record needs neither, and shows no reason.
    void tie_head(chain_fact& fact) {
        entry_info& info = m_head.info;
        if (info.usn_time != 0 || !cursor_holds(m_head.entry->this_lsn)) return;
        if (lookup_cursor_record(fact.told)) {
            info.usn_time = fact.told.time;
            info.usn_reason = fact.told.reason;
        }
        if (fact.told.time == 0) time_from_inode(cursor_record(), m_last_time);
        take_record(info, cursor_record());
        ++m_cursor;
    }

    // Decodes all members ahead of the head's row, so that no head is shown earlier than its members.
    std::span<chain_record> decode_members(std::span<const std::uint32_t> positions, chain_fact& fact) {
        if (m_members.size() < positions.size()) m_members.resize(positions.size());
        const std::span<chain_record> members = std::span(m_members).first(positions.size());
        for (std::size_t at = 0; at < members.size(); ++at) {
            members[at].entry = &m_stores.log.entries[positions[at]];
            decode_member(members[at], fact);
        }
        if (members.empty()) return members;
        spread(fact, m_head.info);
        for (chain_record& member : members)
            spread(fact, member.info);
        return members;
    }

    void decode_member(chain_record& member, chain_fact& fact) {
        entry_info& info = member.info;
        decode_redo(*member.entry, info, m_settings.style);
        keep_text(member);
        if (info.usn_time != 0) {  // a later member overrides an earlier one
            fact.told = {.time = info.usn_time, .reason = info.usn_reason};
            fact.source = &member;
        }
        time_from_info(info, m_last_time);
        if (fact.told.time == 0 && cursor_holds(member.entry->this_lsn) && lookup_cursor_record(fact.told)) {
            info.usn_time = fact.told.time;
            info.usn_reason = fact.told.reason;
            fact.source = &member;
        }
        if (fact.file.number() == 0 && info.usn_time != 0) {
            fact.file = info.inode;
            fact.parent = info.parent;
        }
    }

    // Takes stock of a member's text, and drops it if there is no room.
    void keep_text(chain_record& member) {
        details_writer& details = member.info.details;
        m_text_room -= member.text_room;
        member.text_kept = details.capacity() <= most_text - m_text_room;
        if (!member.text_kept) details.release();
        member.text_room = details.capacity();
        m_text_room += member.text_room;
    }

    void begin(const chain_head& head, std::span<const chain_record> members, const chain_fact& fact) {
        m_operations.assign(1, m_head.entry->redo_op);
        for (const chain_record& member : members)
            m_operations.push_back(member.entry->redo_op);
        m_teller.begin({.operations = m_operations, .fact = fact.told, .cut = head.cut});
    }

    void visit_member(chain_record& member, const chain_fact& fact) {
        entry_info& info = member.info;
        visit_older_records(member.entry->this_lsn);
        if (cursor_holds(member.entry->this_lsn)) {
            time_from_inode(cursor_record(), m_last_time);
            take_record(info, cursor_record());
            ++m_cursor;
        }
        time_from_info(info, m_last_time);
        const std::optional<inode_ref> shown = own_file(member);
        if (shown) info.inode = *shown;
        const file_tie& tie = associate(member.entry, info);
        if (!member.text_kept) {
            decode_redo(*member.entry, m_again, m_settings.style);
            std::swap(info.details, m_again.details);
        }
        m_teller.tell({.entry = *member.entry,
                       .head = false,
                       .time = m_last_time,
                       .shown = shown,
                       .redo = info,
                       .undo = decoded_undo(*member.entry),
                       .tie = tie,
                       .file = info.inode,
                       .parent = info.parent,
                       .brought_journal = fact.source == &member});
        if (!member.text_kept) std::swap(info.details, m_again.details);
        keep_text(member);
    }

    static std::optional<inode_ref> named_file(inode_ref file) {
        return file.number() != 0 ? std::optional(file) : std::nullopt;
    }

    // A member whose data names no file is about the file record that it writes to.
    std::optional<inode_ref> own_file(const chain_record& member) const {
        const log_entry& entry = *member.entry;
        const inode_ref named = member.info.inode;
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
    const file_tie& associate(const log_entry* entry, entry_info& info) {
        m_stores.sequence_by_inode.note(info.inode);
        const file_tie& tie = m_association.associate_entry(*entry, info);
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
    chain_record m_head;
    std::vector<chain_record> m_members;  // of the transaction at hand; kept for their strings
    std::vector<std::uint16_t> m_operations;
    std::size_t m_text_room = 0;  // bytes that their texts take
    entry_info m_again;           // of the member at hand, if its text was dropped
    entry_info m_undo;            // of the record at hand
    entry_progress m_progress;
};

}  // namespace

void walk_transactions(evidence& stores, const walk_settings& settings, diagnostics& diags, teller& listener) {
    transaction_walk(stores, settings, diags, listener).run();
}

}  // namespace kest
