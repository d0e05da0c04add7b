#pragma once

#include <string>
#include <string_view>

namespace kest {

// The text with each %NAME% replaced by that environment variable. An unknown name stays as written, and so does a
// text of more than 512 bytes.
std::string expand_environment(std::string_view text);

}  // namespace kest
