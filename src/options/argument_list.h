#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kest {

// The program's arguments, `argv[0]` included. Options are looked for in the whole list, as whole entries and
// without regard to case, and what is consumed is taken out of it.
using argument_list = std::vector<std::string>;

// True if an entry from index `first` on is `name`. Takes nothing out.
bool peek_flag(std::string_view name, const argument_list& args, std::size_t first);

// The same, and copies the entry after it to `value`, if there is one.
bool peek_value(std::string_view name, std::string& value, const argument_list& args, std::size_t first);

// Takes out the first entry that is `name`; false if there is none.
bool take_flag(std::string_view name, argument_list& args);

// Takes out the first entry that is `name` and the one after it, which becomes `value`. False, with nothing taken
// out, if there is no such entry or it is the last one.
bool take_value(std::string_view name, std::string& value, argument_list& args);

// All entries with a blank between them. One that holds a blank itself stands in quotes.
std::string joined(const argument_list& args, char quote);

}  // namespace kest
