#pragma once

#include "operations/decoder.h"

namespace kest {

// The decoders of resident attribute values; each is a `value_decoder`.

// file_information_decoder.cpp
void decode_standard_information(entry_info& info, const fragment& value, const text_style& style);
void decode_file_name(entry_info& info, const fragment& value, const text_style& style);
// index_decoder.cpp
void decode_index_root(entry_info& info, const fragment& value, const text_style& style);
// attribute_value_decoder.cpp
void decode_attribute_list(entry_info& info, const fragment& value, const text_style& style);
void decode_object_id(entry_info& info, const fragment& value, const text_style& style);
void decode_reparse_point(entry_info& info, const fragment& value, const text_style& style);
void decode_volume_information(entry_info& info, const fragment& value, const text_style& style);

// A file name that is the key of an index entry. `key` shows what is there of `key_length` bytes. Nothing below the
// 68 bytes of a name of one character.
void decode_file_name_key(entry_info& info, uni::byte_view key, std::uint32_t key_length, const text_style& style);

}  // namespace kest
