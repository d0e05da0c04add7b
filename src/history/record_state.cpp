#include "history/record_state.h"

#include <algorithm>

namespace kest {

namespace {

using namespace attribute_layout;

// $STANDARD_INFORMATION is the first attribute and has at least 72 bytes: the second never begins before this.
constexpr std::uint32_t second_attribute = 120;

// Attributes of which more is reported than their value.
bool has_small_value(std::uint32_t type) {
    namespace of = attribute_type;
    const auto without = {of::standard_information, of::attribute_list, of::data, of::index_root, of::index_allocation};
    return std::ranges::find(without, type) == without.end();
}

// The stream that states how large a journal may get.
bool is_journal_limit(const found_attribute& found) {
    constexpr std::array<std::uint8_t, 8> name = {'$', 0, 'M', 0, 'a', 0, 'x', 0};
    return found.type == attribute_type::data && found.name && std::ranges::equal(found.name->bytes(), name);
}

std::optional<uni::byte_view> known_bytes(const replayed_record& record, std::uint64_t offset, std::size_t size) {
    if (!record.knows(offset, size)) return std::nullopt;
    return record.bytes().slice(offset, size);
}

template <class integer>
partial_number<integer> known_part(const replayed_record& record, uni::field<integer> f, std::uint32_t base) {
    if (const auto whole = record.get(f, base)) return partial_number<integer>(*whole);
    partial_number<integer> part;
    for (std::uint32_t at = 0; at < sizeof(integer); ++at)
        if (record.knows_byte(std::uint64_t{base} + f.offset + at))
            part.set_byte(at, record.bytes().u8(std::uint64_t{base} + f.offset + at));
    return part;
}

void read_resident(found_attribute& found, const replayed_record& record, bool with_data) {
    const auto length = record.get(value_length, found.offset);
    const auto begin = record.get(value_offset, found.offset);
    if (length && found.type != attribute_type::index_root) found.state.file_size = *length;
    if (!length || !begin || !found.type) return;
    const bool is_wanted_data = with_data && found.type == attribute_type::data;
    if (!has_small_value(*found.type) && !is_wanted_data && !is_journal_limit(found)) return;
    found.state.value = known_bytes(record, found.offset + *begin, *length);
    found.state.copied = record.is_copied(found.offset + *begin);
    for (std::uint32_t at = 0; is_wanted_data && at < *length && found.state.value; ++at)
        if (record.is_copied(std::uint64_t{found.offset} + *begin + at)) found.state.value = {};
}

void read_nonresident(found_attribute& found, const replayed_record& record) {
    found.lowest_vcn = record.get(lowest_vcn, found.offset).value_or(0);
    if (found.lowest_vcn == 0 && found.type != attribute_type::index_allocation) {
        found.state.file_size = record.get(real_size, found.offset);
        found.state.valid_length = record.get(initialized_size, found.offset);
        found.state.allocated_size = record.get(allocated_size, found.offset);
    }
    found.runs = record.runs_of(found.offset);
}

}  // namespace

record_header read_header(const replayed_record& record) {
    using namespace file_record_layout;
    record_header header{.sequence = record.get(sequence),
                         .links = record.get(hard_links),
                         .in_use = record.in_use(),
                         .directory = {},
                         .base = {}};
    if (const auto bits = record.get(file_record_layout::flags)) header.directory = (*bits & directory) != 0;
    if (const auto base = record.get(base_record)) header.base = inode_ref(*base);
    return header;
}

found_attribute read_attribute(const replayed_record& record, const replayed_record::attribute_start& start,
                               bool is_base, bool with_data) {
    found_attribute found{.offset = start.offset, .id = start.id, .type = {}, .name = {}, .state = {}};
    found.state.present = presence::present;
    found.type = record.get(type, start.offset);
    if (const auto form = record.get(nonresident, start.offset)) found.state.resident = *form == 0;
    const bool is_first = start.offset < second_attribute && found.state.resident == true && is_base;
    if (!found.type && is_first) found.type = attribute_type::standard_information;
    const auto units = record.get(name_length, start.offset);
    const auto begin = record.get(name_offset, start.offset);
    if (units && begin) found.name = known_bytes(record, start.offset + *begin, std::size_t{2} * *units);
    if (found.state.resident == true) read_resident(found, record, with_data);
    if (found.state.resident == false) read_nonresident(found, record);
    return found;
}

standard_information read_standard(const replayed_record& record, std::uint32_t attribute) {
    namespace layout = standard_information_layout;
    const std::uint32_t value = attribute + record.get(value_offset, attribute).value_or(resident_header_size);
    const std::uint32_t length = record.get(value_length, attribute).value_or(layout::size);
    standard_information standard;
    const auto take = [&](auto& to, auto f) {
        if (f.end() <= length) to = record.get(f, value);
    };
    for (std::size_t time = 0; time < standard.times.size(); ++time)
        standard.times[time] = known_part(record, layout::times[time], value);
    standard.flags = known_part(record, layout::flags, value);
    take(standard.owner_id, layout::owner_id);
    take(standard.security_id, layout::security_id);
    take(standard.usn, layout::usn);
    return standard;
}

// Identifiers of attributes rise.
std::optional<found_attribute> newest_name(const replayed_record& record) {
    std::optional<found_attribute> newest;
    std::uint32_t highest = 0;
    if (record.in_use() == false) return newest;
    record.for_each_attribute([&](const replayed_record::attribute_start& start) {
        if (record.get(type, start.offset) != attribute_type::file_name) return;
        const found_attribute found = read_attribute(record, start, false);
        const auto name = found.state.file_name();
        if (!name) return;
        const std::uint32_t rank = record.get(id, start.offset).value_or(0) + (name->is_dos_name() ? 0 : 0x10000U);
        if (newest && rank < highest) return;
        highest = rank;
        newest = found;
    });
    return newest;
}

}  // namespace kest
