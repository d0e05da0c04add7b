#include "events/transaction_facts.h"

#include <algorithm>

#include "journal/usn_record.h"
#include "logfile/operation.h"
#include "logfile/volume_geometry.h"
#include "mft/record_view.h"

namespace kest {

namespace {

bool splits_index(const log_entry& entry) {
    using namespace operation_code;
    return entry.redo_op == write_end_of_index_buffer || entry.redo_op == set_index_entry_vcn_root ||
           entry.redo_op == set_index_entry_vcn_allocation;
}

// What looks like a journal record may be any file's bytes, unless it stands where its USN says.
bool counts(const record_fact& fact, const log_entry& entry, const mft_geometry& place) {
    switch (fact.kind) {
        case fact_kind::entry_added:
        case fact_kind::entry_removed:
            return true;
        case fact_kind::journal_record:
            return is_written_at(entry, place.cluster_size, read_usn_record(fact.data)->get(&usn_layout::usn));
        default:
            return false;
    }
}

}  // namespace

void fact_reader::read(transaction_facts& out, std::uint32_t chain) const {
    const chain_head& head = m_log.chain_heads[chain];
    const std::span<const std::uint32_t> records = m_log.records(head);
    out.number = chain;
    out.head = records.front();
    out.cut = head.cut;
    out.done = m_states.of_chain[chain].ended;
    out.splits_index = false;
    out.facts.clear();
    out.taken.clear();
    for (const std::uint32_t position : records)
        read_record(out, position);
    std::ranges::sort(out.taken);
}

void fact_reader::read_record(transaction_facts& out, std::uint32_t position) const {
    const log_entry& entry = m_log.entries[position];
    out.splits_index = out.splits_index || splits_index(entry);
    if (!may_name_file(entry)) return;
    const record_fact fact = proved_fact(entry, m_place);
    if (fact.kind == fact_kind::taken) out.taken.push_back(fact.file.number());
    if (!counts(fact, entry, m_place)) return;
    out.facts.push_back({.lsn = entry.this_lsn,
                         .file = fact.file,
                         .data = fact.data,
                         .entry = position,
                         .kind = fact.kind,
                         .rolled_back = m_states.rolled_back[position]});
}

bool is_folder_by(const event_fact& fact) {
    if (fact.kind != fact_kind::journal_record) return file_name_view::read(fact.data)->names_directory();
    return (read_usn_record(fact.data)->get(&usn_layout::file_attributes) & usn_attributes::directory) != 0;
}

}  // namespace kest
