#pragma once

#include <string>
#include <string_view>

namespace kest {

// "<words>: <shown>" and a line end. Arguments and paths can hold anything, and are to make no line of their own.
std::string warning_line(std::string_view words, std::string_view shown);

// "<words> (<reason>)"; the words where there is no reason.
std::string with_reason(std::string words, std::string_view reason);

// Text of the operator, such as a path: safe in an extended run.
// Kept: runs with the first options show it as it was given.
std::string shown_text(std::string text, bool safe);

}  // namespace kest
