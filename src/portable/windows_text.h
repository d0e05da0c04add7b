#pragma once

#include <string>
#include <string_view>

namespace uni {

// UTF-8 as the system's UTF-16, and back. Half a pair, which names of files may hold, has three bytes, which are no
// sound UTF-8; what else is none comes out with U+FFFD in it.
std::wstring wide_text(std::string_view text);
std::string narrow_text(std::wstring_view text);
// The same of text in a code page of the system.
std::wstring wide_text(std::string_view text, unsigned code_page);

// A path as the system opens it: whole, and so that it may have more than 260 characters.
std::wstring wide_path(std::string_view path);
// A whole path, so that no name in it becomes another.
std::wstring verbatim_path(std::wstring_view whole);

// An error of the system as the `errno` that is nearest.
int errno_of(unsigned long error);

}  // namespace uni
