#include "report/report.h"

#include "journal/usn_record.h"
#include "operations/operation_table.h"
#include "portable/console.h"
#include "report/association.h"
#include "report/columns.h"
#include "report/journal_lookup.h"
#include "report/mft_rows.h"
#include "report/report_time.h"

namespace kest {

namespace {

constexpr std::string_view head_level = "root";
constexpr std::string_view member_level = "..sub-op";
constexpr std::string_view journal_mark = "<- usnjrnl";
constexpr std::string_view unknown_path = "<unk_path>\\";

// The word of an operation where no journal reason tells what happened. Kept: two of them begin with a blank.
std::string_view event_word(std::uint16_t redo_op) {
    switch (redo_op) {
        case 2:
            return " file_created";
        case 3:
            return " file_deleted";
        case 9:
            return "changing_allocated_space";
        default:
            return {};
    }
}

void append_operation(std::string& out, std::uint16_t redo_op) {
    append_hex(out, redo_op, 2, false);
}

void take_record(entry_info& info, const inode_record& record) {
    info.inode = record.ref();
    if (!record.parents.empty()) info.parent = record.first_parent();
}

// One run of the report loop over one log.
class report_loop {
public:
    report_loop(logfile_options& options, uni::fileio_output& report_sink)
        : m_options(options),
          m_sink(report_sink),
          m_association(options),
          m_times(options.time_format),
          m_row(options.columns.size()),
          m_mft_row(options.columns.size()),
          m_journal_counts(!options.journal.entries.empty() && !options.records.empty()) {}

    void run() {
        const auto& heads = m_options.log.chain_heads;
        for (std::size_t at = 0; at < heads.size(); ++at) {
            visit_older_records(heads[at].lsn);
            if (m_options.show_progress) show_progress(at + 1, heads.size());
            report_chain(heads[at]);
        }
    }

private:
    struct chain_member {
        const log_entry* entry = nullptr;
        entry_info info;
    };

    // What a journal says of the chain at hand.
    struct chain_fact {
        std::uint64_t time = 0;
        std::uint32_t reason = 0;
        const chain_member* source = nullptr;  // null: none, or the head
        inode_ref file;                        // the first member's file that a journal record speaks of
        inode_ref parent;
    };

    void show_progress(std::uint64_t done, std::uint64_t total) {
        m_status.assign("outputing entry: ");
        append_decimal(m_status, done);
        m_status += " of ";
        append_decimal(m_status, total);
        uni::progress_line(uni::status_width, m_status);
    }

    // The MFT's records and the log's are visited in one order, that of their LSNs.
    bool cursor_at_end() const { return m_cursor == m_options.mft.inodes_by_lsn.size(); }
    std::uint64_t cursor_lsn() const { return m_options.mft.inodes_by_lsn.entries()[m_cursor].key; }
    std::uint32_t cursor_position() const { return m_options.mft.inodes_by_lsn.entries()[m_cursor].position; }
    const inode_record& cursor_record() const { return m_options.records[cursor_position()]; }
    bool cursor_holds(std::uint64_t lsn) const { return !cursor_at_end() && cursor_lsn() == lsn; }

    void visit_older_records(std::uint64_t lsn) {
        for (; !cursor_at_end() && cursor_lsn() < lsn; ++m_cursor) {
            if (m_options.showall_inodes) {
                report_mft_row(m_options, m_sink, m_mft_row, m_times, cursor_position(), m_last_time);
            } else {
                time_from_inode(cursor_record(), m_last_time);
            }
        }
    }

    bool lookup_cursor_record(chain_fact& fact) {
        journal_fact found;
        if (!m_journal_counts || !lookup_journal(m_options.journal, cursor_record().usn, found)) return false;
        fact.time = found.time;
        fact.reason = found.reason;
        return true;
    }

    void report_chain(const chain_head& head) {
        m_head.entry = &m_options.log.entries[head.entry];
        reset_entry_info(m_head.info);
        decode_operation(*m_head.entry, m_head.info, m_options);
        chain_fact fact;
        tie_head(fact);
        m_options.sequence_by_inode.note(m_head.info.inode);
        m_row.clear();
        associate(m_head);
        // What the head's members add below does not change these two any more.
        m_row.show_text(column_ids::details, m_head.info.details.text());
        write_path(m_head.info);
        const std::span<chain_member> members = decode_members(head, fact);
        time_from_info(m_head.info, m_last_time);
        write_head(members, fact);
        for (chain_member& member : members)
            report_member(member, fact);
    }

    // Ties the head to the MFT record that holds its LSN, and by that to the journal. A head whose own bytes held a
    // journal record needs neither, and shows no reason.
    void tie_head(chain_fact& fact) {
        entry_info& info = m_head.info;
        if (info.usn_time != 0 || !cursor_holds(m_head.entry->this_lsn)) return;
        if (lookup_cursor_record(fact)) {
            info.usn_time = fact.time;
            info.usn_reason = fact.reason;
        }
        if (fact.time == 0) time_from_inode(cursor_record(), m_last_time);
        take_record(info, cursor_record());
        ++m_cursor;
    }

    // Decodes all members ahead of the head's row, so that no head is shown earlier than its members.
    std::span<chain_member> decode_members(const chain_head& head, chain_fact& fact) {
        const std::span<const std::uint32_t> positions = m_options.log.members(head);
        if (m_members.size() < positions.size()) m_members.resize(positions.size());
        const std::span<chain_member> members = std::span(m_members).first(positions.size());
        for (std::size_t at = 0; at < members.size(); ++at) {
            members[at].entry = &m_options.log.entries[positions[at]];
            decode_member(members[at], fact);
        }
        if (!members.empty()) spread(fact, members);
        return members;
    }

    void decode_member(chain_member& member, chain_fact& fact) {
        entry_info& info = member.info;
        reset_entry_info(info);
        decode_operation(*member.entry, info, m_options);
        if (info.usn_time != 0) {  // a later member overrides an earlier one
            fact.time = info.usn_time;
            fact.reason = info.usn_reason;
            fact.source = &member;
        }
        time_from_info(info, m_last_time);
        if (fact.time == 0 && cursor_holds(member.entry->this_lsn) && lookup_cursor_record(fact)) {
            info.usn_time = fact.time;
            info.usn_reason = fact.reason;
            fact.source = &member;
        }
        if (fact.file.number() == 0 && info.usn_time != 0) {
            fact.file = info.inode;
            fact.parent = info.parent;
        }
    }

    // What one record of the chain told of the file and the time holds for the whole chain.
    void spread(const chain_fact& fact, std::span<chain_member> members) {
        const auto tell = [&fact](entry_info& info) {
            if (fact.file.number() != 0 && info.inode.number() == fact.file.number()) {
                info.inode = fact.file;
                info.parent = fact.parent;
            }
            if (fact.time != 0) {
                info.usn_time = fact.time;
                info.usn_reason = fact.reason;
            }
        };
        tell(m_head.info);
        for (chain_member& member : members)
            tell(member.info);
    }

    void write_head(std::span<const chain_member> members, const chain_fact& fact) {
        write_common(m_head, head_level, fact);
        std::string& pattern = m_row.text(column_ids::op_pattern);
        append_operation(pattern, m_head.entry->redo_op);
        for (const chain_member& member : members) {
            pattern += '-';
            append_operation(pattern, member.entry->redo_op);
        }
        write_number(column_ids::inode, m_head.info.inode.number());
        write_references(m_head.info);
        emit_row(m_sink, m_row, m_options, m_options.base16);
    }

    void report_member(chain_member& member, const chain_fact& fact) {
        entry_info& info = member.info;
        visit_older_records(member.entry->this_lsn);
        if (cursor_holds(member.entry->this_lsn)) {
            time_from_inode(cursor_record(), m_last_time);
            take_record(info, cursor_record());
            ++m_cursor;
        }
        time_from_info(info, m_last_time);
        m_row.clear();
        write_common(member, member_level, fact);
        if (fact.reason != 0 && fact.source == &member) m_row.show_text(column_ids::ref, journal_mark);
        std::string& pattern = m_row.text(column_ids::op_pattern);
        pattern += "-- 0x";
        append_operation(pattern, member.entry->redo_op);
        write_member_inode(member);
        m_options.sequence_by_inode.note(info.inode);
        associate(member);
        write_references(info);
        m_row.show_text(column_ids::details, info.details.text());
        write_path(info);
        emit_row(m_sink, m_row, m_options, m_options.base16);
    }

    // Kept: the cell is written ahead of association, so an inode found by that shows in the details alone.
    void write_member_inode(chain_member& member) {
        entry_info& info = member.info;
        if (info.inode.number() == 0) {
            if (member.entry->get(record_layout::target_vcn) == 0 || !record_has_inode(*member.entry)) return;
            info.inode.set_number(record_inode(*member.entry));
        }
        append_number(m_row.text(column_ids::inode), info.inode.number(), m_options.base16);
    }

    void write_common(const chain_member& record, std::string_view level, const chain_fact& fact) {
        const log_entry& entry = *record.entry;
        m_row.show_time(column_ids::time, m_times.text(m_last_time), !m_options.no_whitespace);
        if (fact.reason != 0) {
            append_reason_text(m_row.text(column_ids::action), fact.reason, false);
        } else {
            m_row.show_text(column_ids::action, event_word(entry.redo_op));
        }
        m_row.show_text(column_ids::level, level);
        m_row.set_number(column_ids::lsn, entry.this_lsn);
        m_row.show_text(column_ids::op_name, operation_name(entry.redo_op));
        if (entry.get(record_layout::lcns_to_follow) != 0) {
            append_number(m_row.text(column_ids::lcn), entry.get(record_layout::first_lcn), m_options.base16);
        }
    }

    void write_number(int column, std::uint64_t value) {
        if (value != 0) append_number(m_row.text(column), value, m_options.base16);
    }

    void write_references(const entry_info& info) {
        write_number(column_ids::seq, info.inode.sequence());
        write_number(column_ids::parent, info.parent.number());
        write_number(column_ids::parent_seq, info.parent.sequence());
    }

    void write_path(const entry_info& info) {
        std::string& cell = m_row.text(column_ids::path);
        const std::string& path = info.path.empty() ? info.owner_path : info.path;
        if (!path.empty()) {
            if (info.guessed) cell += '*';
            cell += path;
        } else if (!info.name.empty()) {
            cell.append(unknown_path).append(info.name);
        }
    }

    void associate(chain_member& record) {
        m_association.associate_entry(*record.entry, record.info);
        m_options.sequence_by_inode.note(record.info.inode);
    }

    logfile_options& m_options;
    uni::fileio_output& m_sink;
    association m_association;
    time_column m_times;
    result_row m_row;
    result_row m_mft_row;
    const bool m_journal_counts;    // there are a journal and an inode store to look up in
    std::size_t m_cursor = 0;       // in `inodes_by_lsn`
    std::uint64_t m_last_time = 0;  // the running estimate: log records carry no clock
    chain_member m_head;
    std::vector<chain_member> m_members;  // of the chain at hand; kept for their strings
    std::string m_status;
};

}  // namespace

void report_entries(logfile_options& options, uni::fileio_output& report_sink) {
    report_header(options, report_sink);
    report_loop(options, report_sink).run();
}

}  // namespace kest
