#include <array>

#include "format/number.h"
#include "mft/record_layout.h"
#include "operations/decoders.h"
#include "portable/unicode.h"

namespace kest {

namespace {

using namespace attribute_layout;

enum class form { flag_text, decimal, number, unit_text };

struct header_row {
    std::string_view key;
    std::uint32_t offset;
    form how;
};

constexpr header_row header_rows[] = {
    {"flags", flags.offset, form::flag_text},
    {"id", id.offset, form::decimal},
    {"lowest_vcn", lowest_vcn.offset, form::number},
    {"highest_vcn", highest_vcn.offset, form::number},
    {"compression_unit", compression_unit.offset, form::unit_text},
    {"allocated_size", allocated_size.offset, form::number},
    {"real_size", real_size.offset, form::number},
    {"initialized_size", initialized_size.offset, form::number},
    {"compressed_size", compressed_size.offset, form::number},  // only with a compression unit
};

void append_unit_text(std::string& out, std::uint8_t unit) {
    out += "0x";
    append_hex(out, unit, 2, true);
    out += unit != 0 ? " (compressed)" : " (not compressed)";
}

void write_row(details_writer& details, const header_row& row, uni::byte_view header) {
    switch (row.how) {
        case form::flag_text:
            // Kept: without the brackets that the words have in a resident header.
            return write_attribute_flags(details, header.u16(row.offset), " ", {});
        case form::decimal:
            return details.decimal(row.key, header.u16(row.offset));
        case form::number:
            return details.number(row.key, header.u64(row.offset));
        case form::unit_text:
            append_unit_text(details.begin_field(row.key), header.u8(row.offset));
            return details.end_field();
    }
}

// This and the next are false where the bytes stop before what is to be shown.
bool write_rows(details_writer& details, const fragment& header, bool compressed) {
    for (const header_row& row : header_rows) {
        if (row.offset == compressed_size.offset && !compressed) return true;
        if (header.stops_before(row.offset)) return false;
        if (header.shows(row.offset)) write_row(details, row, header.bytes);
    }
    return !header.stops_before(compressed_size.end());
}

bool take_name(entry_info& info, const fragment& header, bool compressed) {
    const uni::byte_view bytes = header.bytes;
    const std::uint32_t units = bytes.get(name_length);
    const std::uint32_t offset = bytes.get(name_offset);
    // Kept: the test counts a unit of the name as one byte.
    if (units == 0 || offset + units >= bytes.get(record_length)) return true;
    if (header.cuts(offset + 2 * units)) return false;
    const uni::byte_view name = bytes.slice(offset, 2 * units);
    info.name.clear();
    uni::append_utf16_text(info.name, name);
    const std::uint32_t fields_end = compressed ? compressed_size.end() : initialized_size.end();
    if (header.shows(fields_end) && bytes.get(type) == attribute_type::data) {
        info.details.evidence_text("name", name, details_writer::text_kind::name, info.name, stream_suffix);
    }
    return true;
}

bool describes_runs(uni::byte_view header) {
    return header.get(real_size) != 0 ||
           static_cast<std::int64_t>(header.get(lowest_vcn)) < static_cast<std::int64_t>(header.get(highest_vcn));
}

// Kept: as many bytes as the mapping pairs have, but from the field that states their offset on. So the dump shows the
// offset and the sizes first.
void write_run_bytes(details_writer& details, const fragment& header) {
    const uni::byte_view bytes = header.bytes;
    const std::uint32_t length = bytes.get(record_length);
    const std::uint32_t pairs = bytes.get(mapping_pairs_offset);
    if (!describes_runs(bytes) || pairs == 0 || !header.shows(mapping_pairs_offset.offset)) return;
    if (header.cuts(length)) return;
    details.dump("run_bytes", bytes.slice(mapping_pairs_offset.offset, length > pairs ? length - pairs : 0));
}

// A header of zeros that a fragment is copied into.
constexpr std::uint32_t image_size = compressed_size.end();
using header_image = std::array<std::uint8_t, image_size>;

header_image make_image(std::uint8_t attribute_type) {
    header_image image{};
    image[type.offset] = attribute_type;
    image[record_length.offset] = image_size;
    image[nonresident.offset] = 1;
    return image;
}

// A piece of a header counts as all that one can have.
fragment image_header(header_image& image, std::uint32_t offset, uni::byte_view piece) {
    fragment header = image_fragment(image, offset, piece);
    header.length = image_size;
    return header;
}

}  // namespace

void write_nonresident_header(entry_info& info, const fragment& header) {
    const bool compressed = header.bytes.get(compression_unit) != 0;
    if (!write_rows(info.details, header, compressed)) return;
    if (!take_name(info, header, compressed)) return;
    write_run_bytes(info.details, header);
}

// The bytes are the header from its lowest VCN on.
void decode_index_vcn(entry_info& info, const operation_data& given) {
    if (given.bytes.size() < 8) return;
    header_image image = make_image(attribute_type::index_allocation);
    write_nonresident_header(info, image_header(image, lowest_vcn.offset, given.bytes));
}

// The bytes are the sizes: three, or four for a compressed attribute.
void decode_attribute_sizes(entry_info& info, const operation_data& given) {
    constexpr std::size_t three_sizes = 24;
    if (given.bytes.size() < three_sizes) return;
    header_image image = make_image(attribute_type::data);
    const fragment header = image_header(image, allocated_size.offset, given.bytes);
    if (given.bytes.size() != three_sizes) image[compression_unit.offset] = 1;
    info.details.open_group("new_sizes");
    write_nonresident_header(info, header);
    info.details.close_group();
}

namespace {

// Layout of an entry of the open attribute table. Entries of 40 bytes are those of older systems.
namespace open_attribute_layout {
constexpr uni::field<std::uint32_t> allocated_or_next_free{0};
constexpr std::uint32_t allocated = 0xFFFFFFFF;
}  // namespace open_attribute_layout

namespace old_open_attribute_layout {
constexpr uni::field<std::uint32_t> type{4};
constexpr uni::field<std::uint8_t> dirty{12};
constexpr uni::field<std::uint64_t> file_reference{16};
constexpr uni::field<std::uint64_t> lsn{24};
constexpr uni::field<std::uint64_t> dirty_pages_lsn{32};
constexpr std::size_t size = dirty_pages_lsn.end();
}  // namespace old_open_attribute_layout

namespace new_open_attribute_layout {
constexpr uni::field<std::uint64_t> file_reference{8};
constexpr uni::field<std::uint64_t> lsn{16};
constexpr uni::field<std::uint32_t> type{40};
}  // namespace new_open_attribute_layout

// Kept: the next free entry is hexadecimal in either base.
void write_state(details_writer& details, std::uint32_t word) {
    std::string& out = details.begin_field("state");
    if (word == open_attribute_layout::allocated) {
        out += "in_use";
    } else {
        out += "free ";
        append_number(out, word, true);
    }
    details.end_field();
}

// Kept: the reference is remembered and not shown, and `dirty` is the character that the byte is.
void write_old_entry(entry_info& info, uni::byte_view entry) {
    using namespace old_open_attribute_layout;
    info.details.decimal("attribute_type", entry.get(type));
    info.details.character("dirty", entry.get(dirty));
    info.inode = inode_ref(entry.get(file_reference));
    info.details.number("lsn", entry.get(lsn));
    info.details.number("dirty_pages_lsn", entry.get(dirty_pages_lsn));
}

void write_new_entry(entry_info& info, uni::byte_view entry) {
    using namespace new_open_attribute_layout;
    info.details.decimal("attribute_type", entry.get(type));
    info.inode = inode_ref(entry.get(file_reference));
    info.details.file(info.inode);
    info.details.number("lsn", entry.get(lsn));
}

}  // namespace

void decode_mapping_pairs(entry_info& info, const operation_data& given) {
    info.details.dump_group("mapping_pairs", given.bytes);
}

void decode_open_attribute(entry_info& info, const operation_data& given) {
    const uni::byte_view entry = given.bytes;
    constexpr std::size_t old_size = old_open_attribute_layout::size;
    if (entry.size() < old_size) return;
    info.details.open_group("open_attribute");
    write_state(info.details, entry.get(open_attribute_layout::allocated_or_next_free));
    if (entry.size() == old_size) {
        write_old_entry(info, entry);
    } else {
        write_new_entry(info, entry);
    }
    info.details.close_group();
}

}  // namespace kest
