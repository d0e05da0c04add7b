#include "events/tunnels.h"

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

struct place {
    std::uint64_t folder;
    uni::byte_view name;
    std::uint64_t lsn;
};

bool before(const place& a, const place& b) {
    if (a.folder != b.folder) return a.folder < b.folder;
    if (const auto order = compare_folded(a.name, b.name); order != 0) return order < 0;
    return a.lsn < b.lsn;
}

}  // namespace

void name_tunnels::collect() {
    m_collected = true;
    for (const told_fact& fact : m_told.facts) {
        if (fact.undone || fact.kind != fact_kind::entry_removed) continue;
        const auto name = file_name_view::read(fact.data);
        m_gone.push_back({name->parent().number(), fact.lsn, *name});
    }
    std::ranges::stable_sort(m_gone, before, [](const gone_name& gone) {
        return place{gone.folder, gone.name.name(), gone.lsn};
    });
}

std::optional<std::uint64_t> name_tunnels::last_creation(inode_ref folder, uni::byte_view name, std::uint64_t lsn) {
    if (!m_collected) collect();
    const auto behind =
        std::ranges::lower_bound(m_gone, place{folder.number(), name, lsn}, before, [](const gone_name& gone) {
            return place{gone.folder, gone.name.name(), gone.lsn};
        });
    if (behind == m_gone.begin()) return std::nullopt;
    const gone_name& last = *std::prev(behind);
    if (last.folder != folder.number() || compare_folded(last.name.name(), name) != 0) return std::nullopt;
    return last.name.get(file_name_layout::created);
}

}  // namespace kest
