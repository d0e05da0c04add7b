#pragma once

#include "operations/decoder.h"

namespace kest {

// Shows one attribute record: its header and, if it is resident, its value.
//   attribute  from the record's first byte to the end of the bytes at hand
//   partial    they may end within the header; otherwise fewer bytes than a header show nothing
// False if nothing was shown, for that reason or since the type is none (0, the end marker, above 1024).
bool decode_attribute(entry_info& info, uni::byte_view attribute, bool partial, const text_style& style);

// A non-resident attribute header, or a fragment of one laid into zeros: the bytes from `begin` to before `end`,
// counted from the header's start, are the fragment, and only fields whose first byte is one of them are shown.
struct nonresident_header {
    uni::byte_view bytes;
    bool partial;
    std::uint64_t begin;
    std::uint64_t end;

    // True for a field that ends the text, as the bytes stop before it.
    bool stops_before(std::uint32_t offset) const { return partial && bytes.size() <= offset; }
    bool shows(std::uint32_t offset) const { return begin <= offset && end > offset; }
};

// Shows the fields without a group around them.
void write_nonresident_header(entry_info& info, const nonresident_header& header, const text_style& style);

}  // namespace kest
