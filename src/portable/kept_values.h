#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace uni {

// Values that stay where they are as more come, and so are shown by reference.
template <class value>
class kept_values {
public:
    const value& keep(const value& kept) {
        if (m_blocks.empty() || m_blocks.back().size() == in_block) {
            std::vector<value> block;
            block.reserve(in_block);
            m_blocks.push_back(std::move(block));
        }
        return m_blocks.back().emplace_back(kept);
    }

private:
    static constexpr std::size_t in_block = std::max<std::size_t>(1, (std::size_t{1} << 16) / sizeof(value));

    std::vector<std::vector<value>> m_blocks;
};

}  // namespace uni
