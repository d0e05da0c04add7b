#include "events/mft_differences.h"

#include <algorithm>

#include "history/record_state.h"

namespace kest {

namespace {

// What an event shows of a file record.
struct record_values {
    event_values values;
    std::vector<std::uint8_t> name;
};

record_values read_values(const replayed_record& record) {
    record_values read;
    const record_header header = read_header(record);
    const bool is_base = header.base.value_or(inode_ref{}) == inode_ref{};
    record.for_each_attribute([&](const replayed_record::attribute_start& start) {
        const found_attribute one = read_attribute(record, start, is_base);
        if (one.type == attribute_type::standard_information) {
            const standard_information standard = read_standard(record, one.offset);
            for (std::size_t at = 0; at < standard.times.size(); ++at)
                read.values.times[at] = standard.times[at].whole();
            read.values.flags = standard.flags.whole();
        } else if (one.type == attribute_type::data && one.name && one.name->empty() && one.lowest_vcn == 0) {
            read.values.size = one.state.file_size;
        }
    });
    const auto name = newest_name(record);
    if (!name) return read;
    const std::span<const std::uint8_t> units = name->state.file_name()->name().bytes();
    read.name.assign(units.begin(), units.end());
    read.values.parent = name->state.file_name()->parent();
    return read;
}

// What is not known on one side is no difference.
template <class value>
void drop_equal(std::optional<value>& one, std::optional<value>& other) {
    if (!one || !other || one == other) one = other = std::nullopt;
}

}  // namespace

mft_difference describe_difference(const copied_record& record, const copy_comparison& compared) {
    record_values was = read_values(record.replayed);
    record_values is = read_values(record.copy);
    for (std::size_t at = 0; at < was.values.times.size(); ++at)
        drop_equal(was.values.times[at], is.values.times[at]);
    drop_equal(was.values.flags, is.values.flags);
    drop_equal(was.values.size, is.values.size);
    drop_equal(was.values.parent, is.values.parent);
    if (was.name.empty() || is.name.empty() || was.name == is.name) {
        was.name.clear();
        is.name.clear();
    }
    was.values.record_offset = is.values.record_offset = compared.differing_at;
    was.values.differing_parts = is.values.differing_parts = compared.parts;
    // Whose it is the copy may have been made to lie about.
    const record_header header = read_header(record.replayed);
    const record_header copied = read_header(record.copy);
    const inode_ref base = header.base.value_or(copied.base.value_or(inode_ref{}));
    const std::uint16_t sequence = header.sequence.value_or(copied.sequence.value_or(0));
    return {.file = base != inode_ref{} ? base : inode_ref(record.number, sequence),
            .proof = record.last,
            .transaction = record.transaction,
            .before = was.values,
            .after = is.values,
            .old_name = std::move(was.name),
            .new_name = std::move(is.name)};
}

}  // namespace kest
