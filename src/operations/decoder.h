#pragma once

#include "format/text_style.h"
#include "logfile/log_entry.h"
#include "operations/entry_info.h"
#include "portable/byte_view.h"

namespace kest {

// What a decoder is given: the part of the record's redo window that lies inside its payload, and the record
// itself for the fields of its header. A window that is absent is empty.
struct redo_payload {
    uni::byte_view data;
    const log_entry& entry;
    const text_style& style;
};

// Appends text to `info.details` and leaves facts in `info`. Bad bytes yield no text, or the text up to the bad
// field; a decoder reports nothing and throws nothing on bad input.
using decoder = void (*)(entry_info& info, const redo_payload& payload);

// The same for the value of a resident attribute.
//   value    the value and what follows it in the redo bytes: some values run on past their stated length
//   partial  the redo bytes end within the attribute: what is there of the value is shown. Without it a value that
//            is shorter than its kind ever is shows nothing.
// A field of a partial structure is shown as soon as its first byte is there; one that is cut reads as 0.
using value_decoder = void (*)(entry_info& info, uni::byte_view value, bool partial, const text_style& style);

}  // namespace kest
