#include "operations/attribute_names.h"

namespace kest {

namespace {

struct attribute_name_row {
    std::uint32_t type;
    std::string_view name;
};

// Kept: the attribute list alone goes without "$".
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

std::span<const flag_word> attribute_flag_words() {
    return flag_words;
}

}  // namespace kest
