#pragma once

#include <string_view>

namespace kest {

// The page for a browser, before and after its data. Empty in a program that was built without it.
std::string_view page_template_head();
std::string_view page_template_tail();

}  // namespace kest
