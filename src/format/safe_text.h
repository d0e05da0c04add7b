#pragma once

#include <string>
#include <string_view>

namespace kest {

// Appends UTF-8 text out of the evidence so that it stays where it is put: each control character, and each of the two
// characters that end a line elsewhere, becomes a word in brackets: [LF], [CR], [TAB], or its code, [0x1B].
void append_safe_text(std::string& out, std::string_view text);

// The same for a value between quotes: a quote has "\" ahead of it, and so has "\" itself.
void append_quoted_text(std::string& out, std::string_view text);

}  // namespace kest
