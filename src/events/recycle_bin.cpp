#include "events/recycle_bin.h"

#include <algorithm>

namespace kest {

namespace {

constexpr std::size_t prefix_size = 4;  // bytes of "$R" and "$I"

bool has_prefix(uni::byte_view name, char second) {
    return name.size() > prefix_size && name.u16(0) == '$' && name.u16(2) == second;
}

std::strong_ordering compare(inode_ref folder, uni::byte_view rest, const file_name_view& twin) {
    if (const auto order = folder <=> twin.parent(); order != 0) return order;
    return uni::compare_bytes(rest, twin.name().from(prefix_size));
}

}  // namespace

recycle_bin::recycle_bin(const log_facts& facts) {
    for (const log_fact& fact : facts.all()) {
        if (fact.is_journal_record() || fact.rolled_back || !has_prefix(fact.name().name(), 'I')) continue;
        m_twins.push_back(fact.name());
    }
    std::ranges::sort(m_twins, [](const file_name_view& a, const file_name_view& b) {
        return compare(a.parent(), a.name().from(prefix_size), b) < 0;
    });
}

uni::byte_view recycle_bin::twin_of(inode_ref folder, uni::byte_view name) const {
    if (!has_prefix(name, 'R')) return {};
    const uni::byte_view rest = name.from(prefix_size);
    const auto found = std::ranges::partition_point(
        m_twins, [&](const file_name_view& twin) { return compare(folder, rest, twin) > 0; });
    return found != m_twins.end() && compare(folder, rest, *found) == 0 ? found->name() : uni::byte_view{};
}

}  // namespace kest
