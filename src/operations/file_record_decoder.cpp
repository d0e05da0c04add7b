#include "format/number.h"
#include "mft/record_layout.h"
#include "operations/decoders.h"
#include "portable/unicode.h"

namespace kest {

namespace {

struct attribute_name_row {
    std::uint32_t type;
    std::string_view name;
};

// Kept: only the attribute list goes without "$".
constexpr attribute_name_row names[] = {
    {0x10, "$stdinfo"},
    {0x20, "attriblist"},
    {0x30, "$filename"},
    {0x40, "$objectid"},
    {0x50, "$security"},
    {0x60, "$volname"},
    {0x70, "$volinfo"},
    {0x80, "$data"},
    {0x90, "$indxroot"},
    {0xA0, "$indxalloc"},
    {0xB0, "$bitmap"},
    {0xC0, "$reparse"},
    {0xD0, "$eainfo"},
    {0xE0, "$ea"},
    {0xF0, "$property"},
    {0x100, "$log"},
    {0xFFFFFFFE, "ntfs_attribute_end_marker"},
    {0xFFFFFFFF, "ntfs_attribute_end_marker"},
};

constexpr flag_word flag_words[] = {{0x0001, "compressed"}, {0x4000, "encrypted"}, {0x8000, "sparse"}};

}  // namespace

std::string_view attribute_name(std::uint32_t type) {
    for (const attribute_name_row& row : names) {
        if (row.type == type) return row.name;
    }
    return "unk";
}

void write_attribute_flags(details_writer& details, std::uint16_t flags, std::string_view before,
                           std::string_view after) {
    std::string& text = details.begin_field("flags");
    append_number(text, flags, details.style().base16);
    for (const flag_word& row : flag_words) {
        if ((flags & row.bits) != 0) text.append(before).append(row.word).append(after);
    }
    details.end_field();
}

namespace {

using namespace attribute_layout;

struct value_row {
    value_decoder decode;
    std::uint32_t type;
    bool own_bytes = false;  // sees no byte after the attribute
};

constexpr value_row value_rows[] = {
    {decode_standard_information, attribute_type::standard_information},
    {decode_attribute_list, attribute_type::attribute_list},
    {decode_file_name, attribute_type::file_name},
    {decode_object_id, attribute_type::object_id},
    {decode_volume_information, attribute_type::volume_information},
    {decode_index_root, attribute_type::index_root, true},
    {decode_reparse_point, attribute_type::reparse_point, true},
};

std::uint64_t stated_value_end(uni::byte_view attribute) {
    return std::uint64_t{attribute.get(value_offset)} + attribute.get(value_length);
}

// Kept: where the value lies is reckoned from the name's length; the stored offset is not asked.
std::uint32_t value_begin(uni::byte_view attribute) {
    return (attribute.get(name_length) * 2U + 31U) & ~7U;
}

void write_resident_name(details_writer& details, uni::byte_view attribute, std::uint32_t name_bytes) {
    const bool is_stream = attribute.get(type) == attribute_type::data;
    details.evidence_text("name", attribute.slice(attribute.get(name_offset), name_bytes),
                          details_writer::text_kind::name, {}, is_stream ? stream_suffix : std::string_view{});
}

// False if the header or the value is cut, so that the value is not to be shown.
bool write_resident_header(details_writer& details, const fragment& record) {
    const uni::byte_view attribute = record.bytes;
    if (record.stops_before(flags.offset)) return false;
    write_attribute_flags(details, attribute.get(flags), " (", ")");
    if (record.stops_before(id.offset)) return false;
    details.number("id", attribute.get(id));
    if (attribute.get(nonresident) != 0) return false;  // neither kind
    if (record.stops_before(value_length.offset)) return false;
    details.number("value_length", attribute.get(value_length));
    if (record.stops_before(indexed_flags.offset)) return false;
    details.number("indexed_flags", attribute.get(indexed_flags));
    if (record.cuts(resident_header_size)) return false;
    if (const std::uint32_t name_bytes = attribute.get(name_length) * 2U; name_bytes != 0) {
        if (record.cuts(attribute.get(name_offset) + name_bytes)) return false;
        write_resident_name(details, attribute, name_bytes);
    }
    return !record.cuts(stated_value_end(attribute));
}

void write_value_dump(details_writer& details, std::uint32_t type_code, uni::byte_view value) {
    details.open_listed_group(attribute_name(type_code));
    details.dump("data", value);
    details.close_group();
}

void decode_resident_value(entry_info& info, const fragment& record) {
    const uni::byte_view attribute = record.bytes;
    const std::uint32_t begin = value_begin(attribute);
    if (begin >= attribute.get(record_length)) return;
    const uni::byte_view value = attribute.from(begin);
    const uni::byte_view own = value.slice(0, attribute.get(record_length) - begin);
    for (const value_row& row : value_rows) {
        if (row.type != attribute.get(type)) continue;
        return row.decode(info, beginning_of(row.own_bytes ? own : value, record.partial));
    }
    write_value_dump(info.details, attribute.get(type), own.slice(0, attribute.get(value_length)));
}

}  // namespace

bool decode_attribute(entry_info& info, const fragment& attribute) {
    const uni::byte_view bytes = attribute.bytes;
    if (!attribute.partial && bytes.size() < resident_header_size) return false;
    if (bytes.get(type) - 1U >= attribute_type::highest) return false;  // 0 wraps round
    const fragment record = beginning_of(bytes, attribute.partial || bytes.size() < bytes.get(record_length));
    if (bytes.get(nonresident) == 1) {
        info.details.open_listed_group(attribute_name(bytes.get(type)));
        write_nonresident_header(info, record);
        info.details.close_group();
        return true;
    }
    info.details.open_listed_group("resident_header");
    const bool whole = write_resident_header(info.details, record);
    info.details.close_group();
    if (whole) decode_resident_value(info, record);
    return true;
}

void decode_attribute_record(entry_info& info, const operation_data& given) {
    decode_attribute(info, beginning_of(given.bytes, false));
}

namespace {

// The signature is not asked for, since the operation says what it is, and the sectors carry no fix-up in the log.
constexpr std::size_t smallest_record = 8;

// Kept: attributes are looked for from 43 bytes on, before the record's own number is all there.
constexpr std::size_t smallest_with_attributes = 43;

void append_record_flags(std::string& out, std::uint16_t value) {
    using namespace file_record_layout;
    out += (value & in_use) != 0 ? "in_use" : "not_in_use";
    if ((value & directory) != 0) {
        out += " ;directory";
    } else if ((value & extended_record) != 0) {
        out += " ;extended_record";
    } else {
        out += " ;plain_file";
    }
    if ((value & view_index) != 0) out += " ;view_index";
}

// Ends at the first field of which not even the first byte is there.
void write_header(entry_info& info, uni::byte_view record) {
    using namespace file_record_layout;
    details_writer& details = info.details;
    if (record.size() <= lsn.offset) return;
    details.number("lsn", record.get(lsn));
    if (record.size() <= sequence.offset) return;
    if (record.size() >= own_number.end()) {
        info.inode.set_number(record.get(own_number));
        details.number("inode", info.inode.number());
    }
    info.inode.set_sequence(record.get(sequence));
    details.number("seq", info.inode.sequence());
    if (record.size() <= hard_links.offset) return;
    details.number("hard_links", record.get(hard_links));
    if (record.size() <= file_record_layout::flags.offset) return;
    append_record_flags(details.begin_field("flags"), record.get(file_record_layout::flags));
    details.end_field();
}

// Neither the end marker nor a type ends the walk: what is no attribute is stepped over by its length. A length of
// 0, or the last 7 bytes, which hold none, end it.
void walk_attributes(entry_info& info, uni::byte_view attributes) {
    while (!attributes.empty()) {
        const std::uint32_t length = attributes.get(attribute_layout::record_length);
        if (length == 0) return;
        const bool shown = decode_attribute(info, beginning_of(attributes, length > attributes.size()));
        // An attribute shorter than its header may show more than it holds; so there is one at most.
        if (shown && length < attribute_layout::resident_header_size) return;
        attributes = attributes.from(length);
    }
}

}  // namespace

void decode_file_record(entry_info& info, const operation_data& given) {
    const uni::byte_view record = given.bytes;
    if (record.size() < smallest_record) return;
    info.details.open_group("file_record");
    write_header(info, record);
    info.details.close_group();
    if (record.size() < smallest_with_attributes) return;
    walk_attributes(info, record.from(record.get(file_record_layout::first_attribute)));
}

}  // namespace kest
