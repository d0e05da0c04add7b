#include "events/logged_records.h"

#include <algorithm>
#include <tuple>

namespace kest {

logged_records::record_key::record_key(const usn_record& record)
    : usn(record.get(&usn_layout::usn)),
      file(record.file()),
      time(record.get(&usn_layout::time)),
      reasons(record.get(&usn_layout::reason)) {}

void logged_records::add(std::span<const event_fact> facts) {
    for (const event_fact& fact : facts) {
        if (fact.kind != fact_kind::journal_record) continue;
        m_records.push_back({.key = record_key(*read_usn_record(fact.data)), .entry = fact.entry});
    }
}

void logged_records::seal() {
    std::ranges::sort(m_records, [](const logged_record& a, const logged_record& b) {
        return std::tie(a.key, a.entry) < std::tie(b.key, b.entry);
    });
}

std::span<const logged_records::logged_record> logged_records::equal_records(const record_key& key) const {
    // Most of a journal is older than the log.
    if (m_records.empty() || key < m_records.front().key || m_records.back().key < key) return {};
    const auto begin = std::ranges::lower_bound(m_records, key, {}, &logged_record::key);
    return {begin, std::ranges::upper_bound(begin, m_records.end(), key, {}, &logged_record::key)};
}

void logged_records::note(const journal_record& record, std::uint32_t known) {
    const std::span<const logged_record> equal = equal_records(record_key(record.usn));
    if (equal.empty() || equal.front().place != nowhere) return;
    m_found = true;
    const auto first = static_cast<std::size_t>(equal.data() - m_records.data());
    for (logged_record& logged : std::span(m_records).subspan(first, equal.size())) {
        logged.place = record.place;
        logged.known = known;
    }
}

const logged_records::logged_record* logged_records::in_file(const event_fact& fact) const {
    if (fact.kind != fact_kind::journal_record || !m_found) return nullptr;
    const auto equal = equal_records(record_key(*read_usn_record(fact.data)));
    const auto found = std::ranges::lower_bound(equal, fact.entry, {}, &logged_record::entry);
    const bool there = found != equal.end() && found->entry == fact.entry && found->place != nowhere;
    return there ? &*found : nullptr;
}

}  // namespace kest
