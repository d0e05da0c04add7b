#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "format/flag_words.h"

namespace kest {

// The name of an attribute type, as it keys a group: "$data", "$stdinfo"; "unk" for a type without one.
std::string_view attribute_name(std::uint32_t type);

// The words of an attribute's flags.
std::span<const flag_word> attribute_flag_words();

// The words of a file's attribute bits.
std::span<const flag_word> file_flag_words();

// What stands behind the name of a $DATA attribute.
inline constexpr std::string_view stream_suffix = ":stream";

}  // namespace kest
