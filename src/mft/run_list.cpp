#include "mft/run_list.h"

#include <algorithm>

#include "mft/record_layout.h"

namespace kest {

namespace {

constexpr std::size_t widest_field = 8;  // bytes; what a longer field holds beyond is passed over

struct run_field {
    std::uint64_t value = 0;
    bool top_bit = false;
    unsigned bits = 0;
};

run_field read_field(uni::byte_view bytes, std::size_t offset, std::size_t width) {
    run_field field;
    for (std::size_t at = 0; at < std::min(width, widest_field); ++at, field.bits += 8) {
        const std::uint8_t byte = bytes.u8(offset + at);
        field.value |= std::uint64_t{byte} << field.bits;
        field.top_bit = (byte & 0x80) != 0;
    }
    return field;
}

std::uint64_t negated(const run_field& field) {
    const std::uint64_t inside = field.bits < 64 ? (std::uint64_t{1} << field.bits) - 1 : ~std::uint64_t{0};
    return (0 - field.value) & inside;
}

}  // namespace

bool decode_runs(uni::byte_view attribute, std::vector<run_record>& runs) {
    using namespace attribute_layout;
    const std::uint32_t list_offset = attribute.get(mapping_pairs_offset);
    if (attribute.empty() || attribute.size() < list_offset) return false;
    uni::byte_view list = attribute.from(list_offset);
    std::uint64_t lcn = 0;
    std::uint64_t vcn = attribute.get(lowest_vcn);
    while (list.u8(0) != 0) {
        const std::size_t length_width = list.u8(0) & 15;
        const std::size_t step_width = list.u8(0) >> 4;
        const std::size_t size = length_width + step_width + 1;
        if (size > list.size()) break;
        const run_field step = read_field(list, 1 + length_width, step_width);
        const std::uint64_t delta = step.top_bit ? negated(step) : step.value;
        lcn = step.top_bit ? lcn - delta : lcn + delta;
        const auto clusters = static_cast<std::uint32_t>(read_field(list, 1, length_width).value);
        runs.push_back({.lcn = lcn, .delta = delta, .clusters = clusters, .vcn = vcn, .negative = step.top_bit});
        vcn += clusters;
        list = list.from(size);
    }
    return true;
}

}  // namespace kest
