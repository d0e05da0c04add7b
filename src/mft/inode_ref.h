#pragma once

#include <compare>
#include <cstdint>

namespace kest {

// A file reference as NTFS stores it: record number in the low 48 bits, sequence number in the top 16.
class inode_ref {
public:
    static constexpr std::uint64_t number_mask = 0xFFFF'FFFF'FFFF;

    constexpr inode_ref() = default;
    constexpr explicit inode_ref(std::uint64_t value) : m_value(value) {}
    constexpr inode_ref(std::uint64_t number, std::uint16_t sequence)
        : m_value((number & number_mask) | (std::uint64_t{sequence} << 48)) {}

    constexpr std::uint64_t value() const { return m_value; }
    constexpr std::uint64_t number() const { return m_value & number_mask; }
    constexpr std::uint16_t sequence() const { return static_cast<std::uint16_t>(m_value >> 48); }

    constexpr void set_number(std::uint64_t number) { *this = inode_ref(number, sequence()); }
    constexpr void set_sequence(std::uint16_t sequence) { *this = inode_ref(number(), sequence); }

    // Number first, then sequence number, as one sortable key.
    constexpr std::uint64_t by_number() const { return (m_value << 16) | (m_value >> 48); }

    constexpr bool operator==(const inode_ref&) const = default;
    // By the whole value, so by sequence number first: the order of a record's parents.
    constexpr auto operator<=>(const inode_ref&) const = default;

private:
    std::uint64_t m_value = 0;
};

}  // namespace kest
