#include "history/copy_comparison.h"

namespace kest {

namespace {

// Where the bytes of an attribute of the copy begin and end that may differ without having been logged; offsets in the
// file record.
struct unlogged_bytes {
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
};

unlogged_bytes unlogged_bytes_of(const replayed_record& copy, std::uint32_t offset, std::uint32_t length) {
    const uni::byte_view bytes = copy.bytes().from(offset);
    if (bytes.get(attribute_layout::nonresident) != 0) return {};
    const std::uint32_t value = offset + bytes.get(attribute_layout::value_offset);
    switch (bytes.get(attribute_layout::type)) {
        case attribute_type::data:
            return {value, offset + length};
        case attribute_type::standard_information:
            return {value + standard_information_layout::accessed.offset,
                    value + standard_information_layout::accessed.end()};
        case attribute_type::file_name:
            return {value + file_name_layout::allocated_size.offset, value + file_name_layout::real_size.end()};
        default:
            return {};
    }
}

}  // namespace

copy_comparison compare_with_copy(const replayed_record& replayed, const replayed_record& copy) {
    using namespace file_record_layout;
    constexpr std::uint32_t header_end = 40;  // what follows in the header is not of the file
    copy_comparison result;
    const auto compare = [&](std::uint32_t begin, std::uint32_t end, const unlogged_bytes& unlogged) {
        if (replayed.same_bytes(begin, end - begin, copy)) {
            result.bytes += end - begin;
            return;
        }
        for (std::uint32_t at = begin; at < end; ++at) {
            if (!replayed.knows_byte(at)) continue;
            ++result.bytes;
            if (replayed.bytes().u8(at) == copy.bytes().u8(at)) continue;
            if (at >= unlogged.begin && at < unlogged.end) {
                result.differs_in_unlogged = true;
            } else if (!result.differs) {
                result.differs = true;
                result.differing_at = at;
            }
        }
    };
    compare(sequence.offset, header_end, {});
    copy.for_each_attribute([&](const replayed_record::attribute_start& start) {
        const std::uint32_t length = copy.attribute_length(start.offset).value_or(0);
        compare(start.offset, start.offset + length, unlogged_bytes_of(copy, start.offset, length));
    });
    return result;
}

}  // namespace kest
