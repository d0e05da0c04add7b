#pragma once

#include <string>

#include "portable/byte_view.h"

namespace uni {

// Appends a counted little-endian UTF-16 string as UTF-8. The text ends at the first 0 unit or at the last
// whole unit of `units`; an unpaired surrogate becomes U+FFFD.
void append_utf16_text(std::string& out, byte_view units);

std::string utf16_text(byte_view units);

}  // namespace uni
