#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <optional>
#include <type_traits>

namespace uni {

// A value that may be unknown, without the padding of std::optional: for what there is much of.
template <class value>
class packed_optional {
    static_assert(std::is_trivially_copyable_v<value> && std::has_unique_object_representations_v<value>,
                  "it is kept and compared as bytes");

public:
    packed_optional() = default;
    packed_optional(const value& held) : m_bytes(std::bit_cast<bytes>(held)), m_held(true) {}
    packed_optional(std::nullopt_t) {}
    packed_optional(const std::optional<value>& other) : packed_optional() {
        if (other) *this = *other;
    }

    operator std::optional<value>() const { return m_held ? std::optional(**this) : std::nullopt; }
    explicit operator bool() const { return m_held; }
    value operator*() const { return std::bit_cast<value>(m_bytes); }
    std::optional<value> operator->() const { return *this; }
    value value_or(const value& other) const { return m_held ? **this : other; }

    bool operator==(const packed_optional&) const = default;
    bool operator==(const value& other) const { return m_held && **this == other; }

private:
    using bytes = std::array<std::uint8_t, sizeof(value)>;

    bytes m_bytes{};  // zeros where nothing is held
    bool m_held = false;
};

}  // namespace uni
