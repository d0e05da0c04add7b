#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>
#include <vector>

namespace uni {

// Values that stay where they are as more come, and so are shown by reference. Many are the same as one that came
// shortly before, and are kept with it.
template <class value>
class kept_values {
    static_assert(std::is_trivially_copyable_v<value> && std::has_unique_object_representations_v<value>,
                  "values are known again by their bytes");

public:
    const value& keep(const value& kept) {
        const value*& recent = m_recent[slot_of(kept)];
        if (recent == nullptr || *recent != kept) recent = &add(kept);
        return *recent;
    }

private:
    static constexpr std::size_t in_block = std::max<std::size_t>(1, (std::size_t{1} << 16) / sizeof(value));
    static constexpr int slot_bits = 8;

    static std::size_t slot_of(const value& kept) {
        std::array<std::uint64_t, (sizeof(value) + 7) / 8> words{};
        std::memcpy(words.data(), &kept, sizeof kept);
        std::uint64_t hash = 0;
        for (const std::uint64_t word : words)
            hash = (std::rotl(hash, 23) ^ word) * 0x9E37'79B9'7F4A'7C15;
        return hash >> (64 - slot_bits);
    }

    const value& add(const value& kept) {
        if (m_blocks.empty() || m_blocks.back().size() == in_block) {
            std::vector<value> block;
            block.reserve(in_block);
            m_blocks.push_back(std::move(block));
        }
        return m_blocks.back().emplace_back(kept);
    }

    std::vector<std::vector<value>> m_blocks;
    std::array<const value*, std::size_t{1} << slot_bits> m_recent{};  // by a hash of their bytes
};

}  // namespace uni
