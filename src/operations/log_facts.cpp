#include "operations/log_facts.h"

#include "format/time.h"
#include "logfile/operation.h"
#include "logfile/volume_geometry.h"

namespace kest {

namespace {

bool splits_index(const log_entry& entry) {
    using namespace operation_code;
    return entry.redo_op() == write_end_of_index_buffer || entry.redo_op() == set_index_entry_vcn_root ||
           entry.redo_op() == set_index_entry_vcn_allocation;
}

// What looks like a journal record may be any file's bytes, unless it is written where its USN says.
bool counts(const record_fact& fact, const log_entry& entry, const mft_geometry& geometry) {
    if (fact.kind == fact_kind::entry_added || fact.kind == fact_kind::entry_removed) return true;
    return fact.kind == fact_kind::journal_record &&
           is_written_at(entry, geometry.cluster_size, read_usn_record(fact.data)->get(&usn_layout::usn));
}

}  // namespace

bool log_fact::names_directory() const {
    if (!is_journal_record()) return name().names_directory();
    return (usn().get(&usn_layout::file_attributes) & usn_attributes::directory) != 0;
}

std::uint64_t calendar_time(const usn_record& record) {
    const std::uint64_t time = record.get(&usn_layout::time);
    return cv::has_calendar_form(time) ? time : 0;
}

log_facts::record_key::record_key(const usn_record& record)
    : usn(record.get(&usn_layout::usn)),
      file(record.file()),
      time(record.get(&usn_layout::time)),
      reasons(record.get(&usn_layout::reason)) {}

log_facts::log_facts(const log_store& log, const transaction_states& states, const mft_geometry& geometry)
    : m_log(log), m_states(states) {
    uni::try_reserve(m_facts, log.entries.size());
    m_extents.reserve(log.chain_heads.size() + 1);
    for (const chain_head& chain : log.chain_heads) {
        begin_transaction();
        for (const std::uint32_t position : log.records(chain)) {
            prefetch_record(log, position);
            read_record(position, geometry);
        }
        std::sort(m_taken.begin() + m_extents.back().first_taken, m_taken.end());
    }
    begin_transaction();
    uni::release_room(m_facts);
}

void log_facts::begin_transaction() {
    m_extents.push_back({static_cast<std::uint32_t>(m_facts.size()), static_cast<std::uint32_t>(m_taken.size())});
    m_splits_index.push_back(false);
}

void log_facts::read_record(std::uint32_t position, const mft_geometry& geometry) {
    const log_entry& entry = m_log.entries[position];
    if (splits_index(entry)) m_splits_index.back() = true;
    if (!may_name_file(entry)) return;
    const record_fact fact = proved_fact(entry, geometry);
    if (fact.kind == fact_kind::taken) m_taken.push_back(fact.file.number());
    if (!counts(fact, entry, geometry)) return;
    m_facts.emplace_back(fact, position, m_states.rolled_back[position]);
}

transaction_facts log_facts::of_transaction(std::uint32_t number) const {
    const chain_head& chain = m_log.chain_heads[number];
    const transaction_extent& begin = m_extents[number];
    const transaction_extent& end = m_extents[number + 1];
    return {.number = number,
            .head = m_log.records(chain).front(),
            .cut = chain.cut,
            .ended = m_states.of_chain[number].ended,
            .splits_index = m_splits_index[number],
            .facts = std::span(m_facts).subspan(begin.first_fact, end.first_fact - begin.first_fact),
            .taken = std::span(m_taken).subspan(begin.first_taken, end.first_taken - begin.first_taken)};
}

void log_facts::index_journal_records() {
    for (std::uint32_t at = 0; at < m_facts.size(); ++at) {
        if (m_facts[at].is_journal_record()) m_by_key.push_back({record_key(m_facts[at].usn()), at});
    }
    std::ranges::stable_sort(m_by_key, {}, &indexed_record::key);
    m_matches.resize(m_facts.size());
}

std::span<const log_facts::indexed_record> log_facts::find_equal(const record_key& key) const {
    // Most of a journal is older than the log.
    if (m_by_key.empty() || key < m_by_key.front().key || m_by_key.back().key < key) return {};
    const auto begin = std::ranges::lower_bound(m_by_key, key, {}, &indexed_record::key);
    return {begin, std::ranges::upper_bound(begin, m_by_key.end(), key, {}, &indexed_record::key)};
}

void log_facts::match(const journal_record& record, std::uint32_t known_reasons) {
    const std::span<const indexed_record> equal = find_equal(record_key(record.usn));
    if (equal.empty() || m_matches[equal.front().fact].offset != journal_match::not_in_file) return;
    m_any_matched = true;
    for (const indexed_record& logged : equal)
        m_matches[logged.fact] = {record.place, known_reasons};
}

}  // namespace kest
