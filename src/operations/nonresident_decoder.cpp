#include <algorithm>
#include <array>

#include "operations/attribute_decoder.h"
#include "operations/attribute_layout.h"
#include "operations/attribute_names.h"
#include "operations/decoders.h"
#include "portable/utf16.h"

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

// Kept: the words stand here without the brackets that they have in a resident header.
void append_flag_text(std::string& out, std::uint16_t value, const text_style& style) {
    append_number(out, value, style.base16);
    for (const flag_word& row : attribute_flag_words()) {
        if ((value & row.bits) != 0) out.append(" ").append(row.word);
    }
}

void append_unit_text(std::string& out, std::uint8_t unit) {
    out += "0x";
    append_hex(out, unit, 2, true);
    out += unit != 0 ? " (compressed)" : " (not compressed)";
}

void write_row(details_writer& details, const header_row& row, uni::byte_view header, const text_style& style) {
    std::string& out = details.begin_field(row.key);
    switch (row.how) {
        case form::flag_text:
            append_flag_text(out, header.u16(row.offset), style);
            break;
        case form::decimal:
            append_decimal(out, header.u16(row.offset));
            break;
        case form::number:
            append_number(out, header.u64(row.offset), style.base16);
            break;
        case form::unit_text:
            append_unit_text(out, header.u8(row.offset));
            break;
    }
    details.end_field();
}

// This and the next are false where the bytes stop before what is to be shown.
bool write_rows(details_writer& details, const nonresident_header& header, bool compressed, const text_style& style) {
    for (const header_row& row : header_rows) {
        if (row.offset == compressed_size.offset && !compressed) return true;
        if (header.stops_before(row.offset)) return false;
        if (header.shows(row.offset)) write_row(details, row, header.bytes, style);
    }
    return !header.stops_before(compressed_size.end());
}

bool take_name(entry_info& info, const nonresident_header& header, bool compressed) {
    const uni::byte_view bytes = header.bytes;
    const std::uint32_t units = bytes.get(name_length);
    const std::uint32_t offset = bytes.get(name_offset);
    // Kept: the test counts a unit of the name as one byte.
    if (units == 0 || offset + units >= bytes.get(record_length)) return true;
    if (header.partial && bytes.size() < offset + 2 * units) return false;
    info.name.clear();
    uni::append_utf16_text(info.name, bytes.slice(offset, 2 * units));
    const std::uint32_t fields_end = compressed ? compressed_size.end() : initialized_size.end();
    if (header.shows(fields_end) && bytes.get(type) == attribute_type::data) {
        info.details.begin_field("name").append(info.name).append(stream_suffix);
        info.details.end_field();
    }
    return true;
}

bool describes_runs(uni::byte_view header) {
    return header.get(real_size) != 0 ||
           static_cast<std::int64_t>(header.get(lowest_vcn)) < static_cast<std::int64_t>(header.get(highest_vcn));
}

// Kept: as many bytes as the mapping pairs have, but from the field that tells their offset on. So the dump shows the
// offset and the sizes first.
void write_run_bytes(details_writer& details, const nonresident_header& header) {
    const uni::byte_view bytes = header.bytes;
    const std::uint32_t length = bytes.get(record_length);
    const std::uint32_t pairs = bytes.get(mapping_pairs_offset);
    if (!describes_runs(bytes) || pairs == 0 || !header.shows(mapping_pairs_offset.offset)) return;
    if (header.partial && length > bytes.size()) return;
    details.dump("run_bytes", bytes.slice(mapping_pairs_offset.offset, length > pairs ? length - pairs : 0));
}

// A header of zeros that a fragment is laid into.
constexpr std::uint32_t image_size = compressed_size.end();
using header_image = std::array<std::uint8_t, image_size>;

header_image make_image(std::uint8_t attribute_type) {
    header_image image{};
    image[type.offset] = attribute_type;
    image[record_length.offset] = image_size;
    image[nonresident.offset] = 1;
    return image;
}

void lay_fragment(header_image& image, std::uint32_t offset, uni::byte_view fragment) {
    const auto bytes = fragment.slice(0, image_size - offset).bytes();
    std::copy(bytes.begin(), bytes.end(), image.begin() + offset);
}

nonresident_header fragment_of(const header_image& image, std::uint32_t begin, std::size_t length) {
    return {uni::byte_view(image), true, begin, begin + std::uint64_t{length}};
}

}  // namespace

void write_nonresident_header(entry_info& info, const nonresident_header& header, const text_style& style) {
    const bool compressed = header.bytes.get(compression_unit) != 0;
    if (!write_rows(info.details, header, compressed, style)) return;
    if (!take_name(info, header, compressed)) return;
    write_run_bytes(info.details, header);
}

// The redo bytes are the header from its lowest VCN on.
void decode_index_vcn(entry_info& info, const redo_payload& payload) {
    if (payload.data.size() < 8) return;
    header_image image = make_image(attribute_type::index_allocation);
    lay_fragment(image, lowest_vcn.offset, payload.data);
    write_nonresident_header(info, fragment_of(image, lowest_vcn.offset, payload.data.size()), payload.style);
}

// The redo bytes are the sizes: three, or four for a compressed attribute.
void decode_attribute_sizes(entry_info& info, const redo_payload& payload) {
    constexpr std::size_t three_sizes = 24;
    if (payload.data.size() < three_sizes) return;
    header_image image = make_image(attribute_type::data);
    lay_fragment(image, allocated_size.offset, payload.data);
    if (payload.data.size() != three_sizes) image[compression_unit.offset] = 1;
    info.details.open_group("new_sizes");
    write_nonresident_header(info, fragment_of(image, allocated_size.offset, payload.data.size()), payload.style);
    info.details.close_group();
}

}  // namespace kest
