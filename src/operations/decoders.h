#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "format/number.h"
#include "logfile/log_entry.h"
#include "operations/operation_table.h"
#include "portable/byte_view.h"

namespace kest {

// An on-disk structure as far as a log record holds it: whole, cut at its end, or a piece of it among zeros.
// Offsets count from the structure's first byte.
struct fragment {
    uni::byte_view bytes;      // from the structure's first byte; also what follows it, where it is whole
    bool partial = false;      // more of the structure is not at hand
    std::uint64_t begin = 0;   // from here
    std::uint64_t end = 0;     // to before here the bytes are the record's own
    std::uint64_t length = 0;  // bytes that the structure counts as having

    // True for a field whose first byte is the record's own.
    bool shows(std::uint32_t offset) const { return begin <= offset && end > offset; }
    // False for a field that the structure ends before.
    bool reaches(std::uint64_t offset) const { return length > offset; }
    bool stops_before(std::uint64_t offset) const { return partial && !reaches(offset); }
    // True if the bytes end before what ends at `offset`.
    bool cuts(std::uint64_t offset) const { return partial && length < offset; }
};

// A structure of which the first bytes are at hand, or all.
inline fragment beginning_of(uni::byte_view bytes, bool partial) {
    return {bytes, partial, 0, bytes.size(), bytes.size()};
}

// Copies `piece` into an image of zeros, which must outlive the result; what does not fit is cut, and counts all the
// same.
template <std::size_t size>
fragment image_fragment(std::array<std::uint8_t, size>& image, std::size_t offset, uni::byte_view piece) {
    const auto fitting = piece.slice(0, size - offset).bytes();
    std::copy(fitting.begin(), fitting.end(), image.begin() + static_cast<std::ptrdiff_t>(offset));
    const std::uint64_t end = offset + std::uint64_t{piece.size()};
    return {uni::byte_view(std::span<const std::uint8_t>(image)), true, offset, end, end};
}

// What a decoder is given: the redo bytes of a record or its undo bytes, as far as they lie inside its payload, and the
// record itself for the fields of its header. Empty where the record has none.
struct operation_data {
    uni::byte_view bytes;
    const log_entry& entry;
};

// Appends text to `info.details` and leaves facts in `info`. Bad bytes yield no text, or the text up to the bad
// field; a decoder reports nothing and throws nothing on bad input.
using decoder = void (*)(entry_info& info, const operation_data& given);

// The same for the value of a resident attribute.
//   value  the value, and what follows it in the operation's bytes: some values run on past their stated length. If it
//          is partial what is there of it is shown; if not, a value that is shorter than its kind ever is shows
//          nothing.
// A field of a partial structure is shown as soon as its first byte is there; one that is cut reads as 0.
using value_decoder = void (*)(entry_info& info, const fragment& value);

// The decoders that the operation table names, by family.

// file_record_decoder.cpp
void decode_file_record(entry_info& info, const operation_data& given);       // codes 2, 3
void decode_attribute_record(entry_info& info, const operation_data& given);  // codes 5, 6
// nonresident_decoder.cpp
void decode_attribute_sizes(entry_info& info, const operation_data& given);  // code 11
void decode_index_vcn(entry_info& info, const operation_data& given);        // codes 17, 18
void decode_mapping_pairs(entry_info& info, const operation_data& given);    // code 9
void decode_open_attribute(entry_info& info, const operation_data& given);   // code 28
// file_information_decoder.cpp
void decode_resident_update(entry_info& info, const operation_data& given);         // code 7
void decode_duplicated_information(entry_info& info, const operation_data& given);  // codes 19, 20
// journal_record_decoder.cpp
void decode_journal_record(entry_info& info, const operation_data& given);  // code 8
// index_decoder.cpp
void decode_index_entries(entry_info& info, const operation_data& given);  // codes 12, 14, 16

// The decoders of resident attribute values; each is a `value_decoder`.

// file_information_decoder.cpp
void decode_standard_information(entry_info& info, const fragment& value);
void decode_file_name(entry_info& info, const fragment& value);
// index_decoder.cpp
void decode_index_root(entry_info& info, const fragment& value);
// attribute_value_decoder.cpp
void decode_attribute_list(entry_info& info, const fragment& value);
void decode_object_id(entry_info& info, const fragment& value);
void decode_reparse_point(entry_info& info, const fragment& value);
void decode_volume_information(entry_info& info, const fragment& value);

// Takes a name, in UTF-16, and writes it to the details.
void take_name_text(entry_info& info, uni::byte_view units);

// A file name that is the key of an index entry. `key` shows what is there of `key_length` bytes. Nothing below the
// 68 bytes of a name of one character.
void decode_file_name_key(entry_info& info, uni::byte_view key, std::uint32_t key_length);

// Shows one attribute record: its header and, if it is resident, its value.
// Of one that is partial the bytes may end within the header; otherwise fewer bytes than a header show nothing.
// False if nothing was shown, for that reason or since the type is none (0, the end marker, above 1024).
bool decode_attribute(entry_info& info, const fragment& attribute);

// Shows the fields of a non-resident attribute header without a group around them.
void write_nonresident_header(entry_info& info, const fragment& header);

// The name of an attribute type, as it keys a group: "$data", "$stdinfo"; "unk" for a type without one.
std::string_view attribute_name(std::uint32_t type);

// The flags of an attribute: a number, and the words of those that are set with these marks around each.
void write_attribute_flags(details_writer& details, std::uint16_t flags, std::string_view before,
                           std::string_view after);

// The words of a file's attribute bits.
std::span<const flag_word> file_flag_words();
std::span<const flag_word> volume_flag_words();

// What stands after the name of a $DATA attribute.
inline constexpr std::string_view stream_suffix = ":stream";

}  // namespace kest
