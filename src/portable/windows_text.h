#pragma once

#include <string>
#include <string_view>

namespace uni {

// UTF-8 as the system's UTF-16, and back. What is no such text comes out with U+FFFD in it.
std::wstring wide_text(std::string_view text);
std::string narrow_text(std::wstring_view text);

// A path as the system opens it: whole, and so that it may have more than 260 characters.
std::wstring wide_path(std::string_view path);

// An error of the system as the `errno` that is nearest.
int errno_of(unsigned long error);

}  // namespace uni
