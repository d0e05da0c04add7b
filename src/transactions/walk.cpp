#include "transactions/walk.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "format/number.h"
#include "operations/operation_table.h"
#include "portable/console.h"

namespace kest {

namespace {

// Log records carry no clock: of their time there is a running estimate, in ticks.
// Raises the time to the latest of the record's eight times.
void time_from_inode(const inode_record& record, std::uint64_t& time) {
    time = std::max({time, record.si_times.latest(), record.fn_times.latest()});
}

// A journal time holds, be it earlier or later; without one the time is raised to the latest of the decoded times.
void time_from_info(const entry_info& info, std::uint64_t& time) {
    if (info.usn_time != 0) {
        time = info.usn_time;
    } else {
        time = std::max({time, info.std_times.latest(), info.name_times.latest()});
    }
}

// What a journal says of the transaction at hand.
struct chain_fact {
    static constexpr std::size_t no_member = SIZE_MAX;

    journal_fact journal;
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

// What one record of the transaction states of the file and the time holds for all of it.
void spread(const chain_fact& fact, entry_info& info) {
    if (fact.file.number() != 0 && info.inode.number() == fact.file.number()) {
        info.inode = fact.file;
        info.parent = fact.parent;
    }
    if (fact.journal.time != 0) take_fact(info, fact.journal);
}

// A record and its text, kept from when its transaction is dated until its row comes.
struct decoded_record {
    explicit decoded_record(const walk_settings& settings)
        : details(make_details(settings.notation, settings.style, false)), info(*details) {}

    const std::unique_ptr<details_writer> details;
    entry_info info;
};

class transaction_walk {
public:
    transaction_walk(evidence& stores, const walk_settings& settings, diagnostics& diags, step_sink& sink)
        : m_stores(stores),
          m_settings(settings),
          m_sink(sink),
          m_association(stores, diags, settings.guesses_allowed),
          m_journal_counts(!stores.journal.entries.empty() && !stores.inodes.records.empty()),
          m_redo_details(make_details(settings.notation, settings.style, false)),
          m_undo_details(make_details(settings.notation, settings.style, true)),
          m_no_details(make_details(details_notation::none, settings.style, false)),
          m_redo(*m_redo_details),
          m_undo(*m_undo_details),
          m_facts(*m_no_details) {
        m_facts.names_wanted = false;
    }

    void run() {
        const auto& heads = m_stores.log.chain_heads;
        for (std::size_t at = 0; at < heads.size(); ++at) {
            visit_older_records(m_stores.log.lsn_of(heads[at]));
            if (m_settings.show_progress) show_entry_progress(at + 1, heads.size());
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
                show_mft_record(cursor_record());
            } else {
                time_from_inode(cursor_record(), m_last_time);
            }
        }
    }

    // Kept: a record's own time may lower the running estimate.
    void show_mft_record(const inode_record& record) {
        const journal_fact fact = lookup_journal(m_stores.journal, record.usn).value_or(journal_fact{});
        m_last_time = fact.time;
        if (!cv::has_calendar_form(fact.time)) {
            m_last_time = 0;
            time_from_inode(record, m_last_time);
        }
        m_sink.write_mft_record(record, m_last_time, fact);
    }

    bool lookup_cursor_record(journal_fact& fact) {
        const auto found = m_journal_counts ? lookup_journal(m_stores.journal, cursor_record().usn) : std::nullopt;
        if (found) fact = *found;
        return found.has_value();
    }

    void visit_chain(const chain_head& head) {
        const std::span<const std::uint32_t> records = m_stores.log.records(head);
        const log_entry& entry = m_stores.log.entries[records.front()];
        const std::span<const std::uint32_t> members = records.subspan(1);
        decode_redo(entry, m_redo);
        chain_fact fact;
        match_head(entry, fact);
        const file_match& match = associate(entry, m_redo);
        read_facts(members, fact);
        spread(fact, m_redo);
        time_from_info(m_redo, m_last_time);
        begin(head, fact);
        m_sink.write_step({.entry = entry,
                           .head = true,
                           .time = m_last_time,
                           .shown = named_file(m_redo.inode),
                           .redo = m_redo,
                           .undo = decoded_undo(entry),
                           .match = match,
                           .file = m_redo.inode,
                           .parent = m_redo.parent,
                           .brought_journal = false});
        for (std::size_t at = 0; at < members.size(); ++at)
            visit_member(at, m_stores.log.entries[members[at]], fact);
    }

    // Finds the head in the MFT record that holds its LSN, and by that to the journal. A head whose own bytes held a
    // journal record needs neither, and shows no reason.
    void match_head(const log_entry& entry, chain_fact& fact) {
        if (m_redo.usn_time != 0 || !cursor_holds(entry.this_lsn())) return;
        if (lookup_cursor_record(fact.journal)) take_fact(m_redo, fact.journal);
        if (fact.journal.time == 0) time_from_inode(cursor_record(), m_last_time);
        take_record(m_redo, cursor_record());
        ++m_cursor;
    }

    // Reads the facts of all members before the head's row, so that no head is shown earlier than its members.
    void read_facts(std::span<const std::uint32_t> members, chain_fact& fact) {
        for (std::size_t at = 0; at < members.size(); ++at) {
            const log_entry& entry = m_stores.log.entries[members[at]];
            const entry_info& facts = facts_of(at, entry);
            std::uint64_t usn_time = facts.usn_time;
            if (usn_time != 0) {  // a later member overrides an earlier one
                fact.journal = {.time = usn_time, .reason = facts.usn_reason};
                fact.source = at;
            }
            time_from_info(facts, m_last_time);
            if (fact.journal.time == 0 && cursor_holds(entry.this_lsn()) && lookup_cursor_record(fact.journal)) {
                usn_time = fact.journal.time;
                fact.source = at;
            }
            if (fact.file.number() == 0 && usn_time != 0) {
                fact.file = facts.inode;
                fact.parent = facts.parent;
            }
        }
    }

    // Whether the member is decoded once, for its facts and its row. Of long transactions the further members are
    // decoded twice, so that memory does not go by their length.
    static bool is_kept(std::size_t at, const log_entry& entry) { return at < most_kept && may_be_dated(entry); }

    const entry_info& facts_of(std::size_t at, const log_entry& entry) {
        if (!is_kept(at, entry)) {
            decode_facts(entry, m_facts);
            return m_facts;
        }
        while (m_kept.size() <= at)
            m_kept.push_back(std::make_unique<decoded_record>(m_settings));
        decode_redo(entry, m_kept[at]->info);
        return m_kept[at]->info;
    }

    entry_info& decoded_member(std::size_t at, const log_entry& entry) {
        if (is_kept(at, entry)) return m_kept[at]->info;
        decode_redo(entry, m_redo);
        return m_redo;
    }

    void begin(const chain_head& head, const chain_fact& fact) {
        m_operations.clear();
        for (const std::uint32_t record : m_stores.log.records(head))
            m_operations.push_back(m_stores.log.entries[record].redo_op());
        m_sink.begin_transaction({.operations = m_operations, .fact = fact.journal, .cut = head.cut});
    }

    void visit_member(std::size_t at, const log_entry& entry, const chain_fact& fact) {
        entry_info& redo = decoded_member(at, entry);
        spread(fact, redo);
        visit_older_records(entry.this_lsn());
        if (cursor_holds(entry.this_lsn())) {
            time_from_inode(cursor_record(), m_last_time);
            take_record(redo, cursor_record());
            ++m_cursor;
        }
        time_from_info(redo, m_last_time);
        const std::optional<inode_ref> shown = own_file(entry, redo.inode);
        if (shown) redo.inode = *shown;
        const file_match& match = associate(entry, redo);
        m_sink.write_step({.entry = entry,
                           .head = false,
                           .time = m_last_time,
                           .shown = shown,
                           .redo = redo,
                           .undo = decoded_undo(entry),
                           .match = match,
                           .file = redo.inode,
                           .parent = redo.parent,
                           .brought_journal = fact.source == at});
    }

    static std::optional<inode_ref> named_file(inode_ref file) {
        return file.number() != 0 ? std::optional(file) : std::nullopt;
    }

    // A member whose data names no file is about the file record that it writes to.
    std::optional<inode_ref> own_file(const log_entry& entry, inode_ref named) const {
        if (named.number() != 0) return named;
        if (!record_has_inode(entry)) return std::nullopt;
        const std::uint64_t number = record_inode(entry, m_stores.log.geometry);
        if (number == 0 && entry.get(record_layout::target_vcn) == 0) return std::nullopt;
        return inode_ref(number, named.sequence());
    }

    const entry_info* decoded_undo(const log_entry& entry) {
        if (!m_settings.undo) return nullptr;
        decode_undo(entry, m_undo);
        return &m_undo;
    }

    // What was found holds for the record from here on.
    const file_match& associate(const log_entry& entry, entry_info& info) {
        m_stores.sequence_by_inode.note(info.inode);
        const file_match& match = m_association.associate_entry(entry, info);
        info.inode = match.file;
        info.parent = match.parent;
        m_stores.sequence_by_inode.note(info.inode);
        return match;
    }

    evidence& m_stores;
    const walk_settings& m_settings;
    step_sink& m_sink;
    association m_association;
    const bool m_journal_counts;    // there are a journal and an inode store to look up in
    std::size_t m_cursor = 0;       // in `inodes_by_lsn`
    std::uint64_t m_last_time = 0;  // the running estimate
    std::vector<std::uint16_t> m_operations;
    static constexpr std::size_t most_kept = 16;
    std::vector<std::unique_ptr<decoded_record>> m_kept;  // of the first members of the transaction at hand
    const std::unique_ptr<details_writer> m_redo_details, m_undo_details, m_no_details;
    entry_info m_redo, m_undo;  // of the record at hand
    entry_info m_facts;         // of a member whose row is still to come, and that is not kept
};

}  // namespace

void walk_transactions(evidence& stores, const walk_settings& settings, diagnostics& diags, step_sink& sink) {
    transaction_walk(stores, settings, diags, sink).run();
}

void show_entry_progress(std::uint64_t done, std::uint64_t total) {
    std::string text = "outputing entry: ";
    append_decimal(text, done);
    text += " of ";
    append_decimal(text, total);
    uni::progress_line(uni::status_width, text);
}

}  // namespace kest
