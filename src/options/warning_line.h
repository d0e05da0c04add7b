#pragma once

#include <string>
#include <string_view>

namespace kest {

// "<words>: <shown>" and a line end. Arguments and paths can hold anything, and are to make no line of their own.
std::string warning_line(std::string_view words, std::string_view shown);

// "<words> (<reason>)"; the words where there is no reason.
std::string with_reason(std::string words, std::string_view reason);

}  // namespace kest
