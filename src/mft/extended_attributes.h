#pragma once

#include "portable/byte_view.h"

namespace kest {

// Calls `visit(name, value)` for each extended attribute of an $EA value, the name in characters of one byte. Each
// begins after the one before it; what does not fit ends the list.
template <class visitor>
void for_each_extended_attribute(uni::byte_view list, visitor&& visit) {
    constexpr uni::field<std::uint32_t> step{0};
    constexpr uni::field<std::uint8_t> name_length{5};
    constexpr uni::field<std::uint16_t> value_length{6};
    constexpr std::uint32_t header = 8;
    for (;;) {
        const std::size_t name = list.get(name_length);
        const std::size_t size = header + name + 1 + list.get(value_length);  // a zero ends the name
        if (name == 0 || !list.has(0, size)) return;
        visit(list.slice(header, name), list.slice(header + name + 1, list.get(value_length)));
        if (list.get(step) < size) return;
        list = list.from(list.get(step));
    }
}

}  // namespace kest
