#pragma once

#include <span>
#include <string_view>

namespace kest {

// The page for a browser, before and after its data, in pieces. Empty in a program that was built without it.
std::span<const std::string_view> page_template_head();
std::span<const std::string_view> page_template_tail();

}  // namespace kest
