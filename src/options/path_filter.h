#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kest {

// What a file of a list may match: what is empty does not count, and one hit is enough.
struct path_filter {
    std::string pattern;    // "*" and "?"; lower case
    std::string path;       // prefix; lower case
    std::string signature;  // bytes that stand at `offset`
    std::uint64_t offset = 0;
};

// Which files of a list are logs to be reported on. The bounds are ticks.
struct file_choice {
    std::vector<path_filter> filters;
    std::optional<std::uint64_t> start, stop;
};

// Adds a filter for each pattern of a list, separated by "|" or ",". False if there is none.
bool add_pattern_filters(std::vector<path_filter>& filters, std::string_view list);

// Adds a filter for bytes that a file must hold: "<hexadecimal digits>" or "<hexadecimal digits>|<file offset>", with
// "," as good as "|". Adds nothing if the bytes do not read. False if any of it does not.
bool add_signature_filter(std::vector<path_filter>& filters, std::string_view text);

// Says whether a file of a list is wanted: its times reach into the time bounds, and a filter matches it, if there
// are any filters.
bool path_wanted(const file_choice& choice, const std::string& path);

}  // namespace kest
