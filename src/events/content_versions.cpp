#include "events/content_versions.h"

#include <algorithm>

namespace kest {

std::optional<std::uint32_t> content_versions::next(inode_ref file, uni::byte_view name, uni::byte_view content) {
    const auto units = name.bytes();
    const auto [found, added] =
        m_streams.try_emplace({file.value(), std::string(units.begin(), units.end())}, stream{});
    stream& one = found->second;
    if (added && !name.empty()) one.number = ++m_counts[file.value()];
    if (one.last && std::ranges::equal(one.last->bytes(), content.bytes())) return std::nullopt;
    one.last = content;
    return one.number;
}

}  // namespace kest
