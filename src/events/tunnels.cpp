#include "events/tunnels.h"

#include <algorithm>
#include <compare>

#include "logfile/operation.h"
#include "operations/record_fact.h"

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
    for (std::uint32_t at = 0; at < m_log.entries.size(); ++at) {
        const log_entry& entry = m_log.entries[at];
        if (m_states.rolled_back[at]) continue;
        if (entry.redo_op != operation_code::delete_index_entry_root &&
            entry.redo_op != operation_code::delete_index_entry_allocation)
            continue;
        const record_fact fact = proved_fact(entry, m_log.geometry);
        if (fact.kind == fact_kind::entry_removed) add(entry.this_lsn, *file_name_view::read(fact.data));
    }
    for (const record_change& change : m_history.changes()) {
        if (change.rolled_back) continue;
        for (const attribute_change& attribute : m_history.attributes_of(change)) {
            if (attribute.type != attribute_type::file_name || attribute.after.present == presence::present) continue;
            const auto name = attribute.before.file_name();
            if (name) add(m_log.entries[attribute.proof].this_lsn, *name);
        }
    }
    std::ranges::stable_sort(m_gone, before, [](const gone_name& gone) {
        return place{gone.folder, gone.name.name(), gone.lsn};
    });
}

bool name_tunnels::brings_back(std::uint64_t creation, inode_ref folder, uni::byte_view name, std::uint64_t lsn) {
    if (!m_collected) collect();
    const auto behind =
        std::ranges::lower_bound(m_gone, place{folder.number(), name, lsn}, before, [](const gone_name& gone) {
            return place{gone.folder, gone.name.name(), gone.lsn};
        });
    if (behind == m_gone.begin()) return false;
    const gone_name& last = *std::prev(behind);
    if (last.folder != folder.number() || compare_folded(last.name.name(), name) != 0) return false;
    return last.name.get(file_name_layout::created) == creation;
}

}  // namespace kest
