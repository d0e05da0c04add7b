#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "options/cmd_params.h"

namespace kest {

// Adds a filter for each pattern of a list, separated by "|" or ",". False if there is none.
bool add_pattern_filters(std::vector<path_filter>& filters, std::string_view list);

// Adds a filter for bytes that a file must hold: "<hexadecimal digits>" or "<hexadecimal digits>|<file offset>", with
// "," as good as "|". Adds nothing if the bytes do not read. False if any of it does not.
bool add_signature_filter(std::vector<path_filter>& filters, std::string_view text);

// Says whether a file of a list is wanted: its times reach into the time bounds, and a filter matches it, if there
// are any filters.
bool path_wanted(const cmd_params& options, const std::string& path);

}  // namespace kest
