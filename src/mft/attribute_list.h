#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "mft/mft_source.h"
#include "portable/byte_view.h"

namespace kest {

// Takes the first entry off `list`: the number of the file record that holds its attribute. Nothing at the list's end.
std::optional<std::uint64_t> next_listed_record(uni::byte_view& list);

// The bytes of a non-resident list, as far as they can be read. Empty if they do not begin as a list does.
std::vector<std::uint8_t> read_nonresident_list(uni::byte_view attribute, mft_source& source);

}  // namespace kest
