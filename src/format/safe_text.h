#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "portable/byte_view.h"

namespace kest {

// Text of the evidence so that it stays where it is put and looks like no other. What could mislead becomes a word in
// brackets, [LF], [CR], [TAB] or the character's number, [0x1B]: control characters and line ends, what has no shape of
// its own (directions, joiners, tags), a surrogate without its half, [0xD800]. "[" is [[] where what it begins would
// read as such a word. So two texts never come to the same, and each can be read back.
//
// A name is one part of a path: separators within it, "\", "/" and ":", are words, too, and so is a blank at its end,
// which padding would hide. Nothing ends it but its length.
//
// All say whether a word was needed. UTF-16 is little-endian; a byte that is no UTF-8 becomes [0xDC80] to [0xDCFF].
bool append_safe_name(std::string& out, uni::byte_view units);
bool append_safe_name(std::string& out, std::string_view text);
// The same for what may hold paths: separators stand for themselves.
bool append_safe_text(std::string& out, uni::byte_view units);
bool append_safe_text(std::string& out, std::string_view text);

// For a value between quotes: "\" stands before a quote, and before "\" itself.
void append_quoted_text(std::string& out, std::string_view text);

// The character of a separator of fields that a value must not hold: then no field becomes two. Empty where no value
// holds what is in it. Nothing for a separator that cannot be told from values: line ends, quotes, and such as have
// nothing but letters, digits, blanks, ":", "=" and brackets, which words and the notation of details are made of.
std::optional<std::string_view> telling_character(std::string_view separator);
// Appends the text with that character as a word wherever it stands.
void append_marked_text(std::string& out, std::string_view text, std::string_view character);

}  // namespace kest
