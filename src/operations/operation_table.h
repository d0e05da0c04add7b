#pragma once

#include <cstdint>
#include <string_view>

#include "logfile/log_entry.h"
#include "logfile/operation.h"
#include "operations/entry_info.h"

namespace kest {

// "Unk" for a code above 38.
std::string_view operation_name(std::uint16_t code);

// What happened, where no journal reason says it; empty for most codes.
std::string_view event_word(std::uint16_t code);

// Decodes the redo bytes of a record into `info`, which is cleared of an earlier record's facts first.
void decode_redo(const log_entry& entry, entry_info& info);
// The same of records whose bytes hold times of a file, and nothing of others: what the time of a transaction rests on.
void decode_facts(const log_entry& entry, entry_info& info);
// The same for what the record would put back: nothing where it holds no undo bytes. Where it was done is not shown
// again.
void decode_undo(const log_entry& entry, entry_info& info);

}  // namespace kest
