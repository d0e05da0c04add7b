#include "events/file_tunneling.h"

#include <algorithm>
#include <compare>

namespace kest {

namespace {

constexpr std::uint16_t folded(std::uint16_t unit) {
    return unit >= 'A' && unit <= 'Z' ? static_cast<std::uint16_t>(unit - 'A' + 'a') : unit;
}

std::strong_ordering compare_folded(uni::byte_view a, uni::byte_view b) {
    for (std::size_t at = 0; at < std::min(a.size(), b.size()); at += 2) {
        if (const auto order = folded(a.u16(at)) <=> folded(b.u16(at)); order != 0) return order;
    }
    return a.size() <=> b.size();
}

}  // namespace

bool file_tunneling::comes_before(const removed_name& a, const removed_name& b) {
    if (a.folder != b.folder) return a.folder < b.folder;
    if (const auto order = compare_folded(a.name, b.name); order != 0) return order < 0;
    return a.removed.position < b.removed.position;
}

void file_tunneling::add(removal removed, const file_name_view& name) {
    m_removed.push_back({name.parent().number(), name.name(), removed, name.get(file_name_layout::created)});
}

void file_tunneling::collect() {
    m_collected = true;
    for (std::uint32_t number = 0; number < m_facts.transaction_count(); ++number) {
        for (const log_fact& fact : m_facts.of_transaction(number).facts)
            if (fact.kind == fact_kind::entry_removed && !fact.rolled_back) add({number, fact.position}, fact.name());
    }
    for (const record_change& change : m_history.changes()) {
        if (change.rolled_back) continue;
        for (const attribute_change& attribute : m_history.attributes_of(change)) {
            if (attribute.type() != attribute_type::file_name || attribute.after.present == presence::present) continue;
            if (const auto name = attribute.before.file_name()) add({change.transaction, attribute.proof}, *name);
        }
    }
    std::ranges::stable_sort(m_removed, comes_before);
}

std::optional<file_tunneling::removal> file_tunneling::removal_of(std::uint64_t creation, inode_ref folder,
                                                                  uni::byte_view name, std::uint32_t position) {
    if (!m_collected) collect();
    const removed_name asked{folder.number(), name, {no_transaction, position}, 0};
    const auto next = std::ranges::lower_bound(m_removed, asked, comes_before);
    if (next == m_removed.begin()) return std::nullopt;
    const removed_name& last = *std::prev(next);
    const bool same = last.folder == asked.folder && compare_folded(last.name, name) == 0 && last.creation == creation;
    return same ? std::optional(last.removed) : std::nullopt;
}

}  // namespace kest
