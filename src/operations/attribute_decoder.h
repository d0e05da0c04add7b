#pragma once

#include "operations/decoder.h"

namespace kest {

// Shows one attribute record: its header and, if it is resident, its value.
// Of one that is partial the bytes may end within the header; otherwise fewer bytes than a header show nothing.
// False if nothing was shown, for that reason or since the type is none (0, the end marker, above 1024).
bool decode_attribute(entry_info& info, const fragment& attribute, const text_style& style);

// Shows the fields of a non-resident attribute header without a group around them.
void write_nonresident_header(entry_info& info, const fragment& header, const text_style& style);

}  // namespace kest
