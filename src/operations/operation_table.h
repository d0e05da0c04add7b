#pragma once

#include <cstdint>
#include <string_view>

#include "format/text_style.h"
#include "logfile/log_entry.h"
#include "operations/entry_info.h"

namespace kest {

inline constexpr std::uint16_t highest_operation = 37;  // the highest code that a valid record holds

// "Unk" for a code above 38.
std::string_view operation_name(std::uint16_t code);

// Decodes the redo bytes of a record into `info`, which is cleared of an earlier record's facts first.
void decode_operation(const log_entry& entry, entry_info& info, const text_style& style);

}  // namespace kest
