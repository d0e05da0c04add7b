#pragma once

#include <string>
#include <string_view>

#include "portable/byte_view.h"

namespace kest {

// Appends a security identifier as text: S-1-5-18. `sid` is whole.
void append_sid(std::string& out, uni::byte_view sid);

// What is called that everywhere; empty for others.
std::string_view well_known_name(std::string_view sid);

}  // namespace kest
