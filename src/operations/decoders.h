#pragma once

#include "format/text_style.h"
#include "logfile/log_entry.h"
#include "operations/entry_info.h"
#include "operations/fragment.h"
#include "portable/byte_view.h"

namespace kest {

// What a decoder is given: the redo bytes of a record or its undo bytes, as far as they lie inside its payload, and the
// record itself for the fields of its header. Empty where the record has none.
struct operation_data {
    uni::byte_view bytes;
    const log_entry& entry;
    const text_style& style;
};

// Appends text to `info.details` and leaves facts in `info`. Bad bytes yield no text, or the text up to the bad
// field; a decoder reports nothing and throws nothing on bad input.
using decoder = void (*)(entry_info& info, const operation_data& given);

// The same for the value of a resident attribute.
//   value  the value, and what follows it in the operation's bytes: some values run on past their stated length. If it
//          is partial what is there of it is shown; if not, a value that is shorter than its kind ever is shows
//          nothing.
// A field of a partial structure is shown as soon as its first byte is there; one that is cut reads as 0.
using value_decoder = void (*)(entry_info& info, const fragment& value, const text_style& style);

// The decoders that the operation table names, by family.

// file_record_decoder.cpp
void decode_file_record(entry_info& info, const operation_data& given);  // codes 2, 3
// attribute_decoder.cpp
void decode_attribute_record(entry_info& info, const operation_data& given);  // codes 5, 6
// nonresident_decoder.cpp
void decode_attribute_sizes(entry_info& info, const operation_data& given);  // code 11
void decode_index_vcn(entry_info& info, const operation_data& given);        // codes 17, 18
// file_information_decoder.cpp
void decode_resident_update(entry_info& info, const operation_data& given);         // code 7
void decode_duplicated_information(entry_info& info, const operation_data& given);  // codes 19, 20
// journal_record_decoder.cpp
void decode_journal_record(entry_info& info, const operation_data& given);  // code 8
// mapping_decoder.cpp
void decode_mapping_pairs(entry_info& info, const operation_data& given);   // code 9
void decode_open_attribute(entry_info& info, const operation_data& given);  // code 28
// index_decoder.cpp
void decode_index_entries(entry_info& info, const operation_data& given);  // codes 12, 14, 16

// Shows one attribute record: its header and, if it is resident, its value.
// Of one that is partial the bytes may end within the header; otherwise fewer bytes than a header show nothing.
// False if nothing was shown, for that reason or since the type is none (0, the end marker, above 1024).
bool decode_attribute(entry_info& info, const fragment& attribute, const text_style& style);

// Shows the fields of a non-resident attribute header without a group around them.
void write_nonresident_header(entry_info& info, const fragment& header, const text_style& style);

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
