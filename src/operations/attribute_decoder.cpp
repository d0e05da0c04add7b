#include "operations/attribute_decoder.h"

#include "operations/attribute_layout.h"
#include "operations/attribute_names.h"
#include "operations/decoders.h"
#include "operations/value_decoders.h"
#include "portable/utf16.h"

namespace kest {

namespace {

using namespace attribute_layout;

constexpr std::uint32_t highest_type = 1024;

struct value_row {
    value_decoder decode;
    std::uint32_t type;
    bool own_bytes = false;  // sees no byte behind the attribute
};

constexpr value_row value_rows[] = {
    {decode_standard_information, attribute_type::standard_information},
    {decode_attribute_list, attribute_type::attribute_list},
    {decode_file_name, attribute_type::file_name},
    {decode_object_id, attribute_type::object_id},
    {decode_volume_information, attribute_type::volume_information},
    {decode_index_root, attribute_type::index_root, true},
    {decode_reparse_point, attribute_type::reparse_point},
};

std::uint64_t stated_value_end(uni::byte_view attribute) {
    return std::uint64_t{attribute.get(value_offset)} + attribute.get(value_length);
}

// Kept: where the value lies is reckoned from the name's length; the stored offset is not asked.
std::uint32_t value_place(uni::byte_view attribute) {
    return (attribute.get(name_length) * 2U + 31U) & ~7U;
}

void write_resident_flags(details_writer& details, std::uint16_t value, const text_style& style) {
    std::string& text = details.begin_field("flags");
    append_number(text, value, style.base16);
    for (const flag_word& row : attribute_flag_words()) {
        if ((value & row.bits) != 0) text.append(" (").append(row.word).append(")");
    }
    details.end_field();
}

void write_resident_name(details_writer& details, uni::byte_view attribute, std::uint32_t name_bytes) {
    std::string& text = details.begin_field("name");
    uni::append_utf16_text(text, attribute.slice(attribute.get(name_offset), name_bytes));
    if (attribute.get(type) == attribute_type::data) text += stream_suffix;
    details.end_field();
}

// False if the header or the value is cut, so that the value is not to be shown.
bool write_resident_header(details_writer& details, uni::byte_view attribute, bool partial, const text_style& style) {
    const auto ends_by = [&](std::uint64_t offset) { return partial && attribute.size() <= offset; };
    if (ends_by(flags.offset)) return false;
    write_resident_flags(details, attribute.get(flags), style);
    if (ends_by(id.offset)) return false;
    details.number("id", attribute.get(id), style);
    if (attribute.get(nonresident) != 0) return false;  // neither kind
    if (ends_by(value_length.offset)) return false;
    details.number("value_length", attribute.get(value_length), style);
    if (ends_by(indexed_flags.offset)) return false;
    details.number("indexed_flags", attribute.get(indexed_flags), style);
    if (partial && attribute.size() < resident_header_size) return false;
    if (const std::uint32_t name_bytes = attribute.get(name_length) * 2U; name_bytes != 0) {
        if (partial && attribute.size() < attribute.get(name_offset) + name_bytes) return false;
        write_resident_name(details, attribute, name_bytes);
    }
    return !partial || stated_value_end(attribute) <= attribute.size();
}

void write_value_dump(details_writer& details, std::uint32_t type_code, uni::byte_view value) {
    details.open_group(attribute_name(type_code));
    details.dump("data", value);
    details.close_group();
}

void decode_resident_value(entry_info& info, uni::byte_view attribute, bool partial, const text_style& style) {
    const std::uint32_t place = value_place(attribute);
    if (place >= attribute.get(record_length)) return;
    const uni::byte_view value = attribute.from(place);
    const uni::byte_view own = value.slice(0, attribute.get(record_length) - place);
    for (const value_row& row : value_rows) {
        if (row.type == attribute.get(type)) return row.decode(info, row.own_bytes ? own : value, partial, style);
    }
    write_value_dump(info.details, attribute.get(type), own.slice(0, attribute.get(value_length)));
}

}  // namespace

bool decode_attribute(entry_info& info, uni::byte_view attribute, bool partial, const text_style& style) {
    if (!partial && attribute.size() < resident_header_size) return false;
    if (attribute.get(type) - 1U >= highest_type) return false;  // 0 wraps round
    partial = partial || attribute.size() < attribute.get(record_length);
    if (attribute.get(nonresident) == 1) {
        info.details.open_group(attribute_name(attribute.get(type)));
        write_nonresident_header(info, {attribute, partial, 0, attribute.size()}, style);
        info.details.close_group();
        return true;
    }
    info.details.open_group("resident_header");
    const bool whole = write_resident_header(info.details, attribute, partial, style);
    info.details.close_group();
    if (whole) decode_resident_value(info, attribute, partial, style);
    return true;
}

void decode_attribute_record(entry_info& info, const redo_payload& payload) {
    decode_attribute(info, payload.data, false, payload.style);
}

}  // namespace kest
