#pragma once

#include <string>

namespace kest {

// Why the system refused a file, in words: of a value of `errno`. Empty for 0.
std::string error_words(int error);
// The same where the folder is what was asked for, or what the file was to be made in.
std::string folder_error_words(int error);

}  // namespace kest
