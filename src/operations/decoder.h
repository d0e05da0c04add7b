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

}  // namespace kest
