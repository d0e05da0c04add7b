#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "options/argument_list.h"

namespace kest {

struct wanted_file {
    std::uint64_t number = 0;
    std::optional<std::uint16_t> sequence;
};

// What options say of events. What is empty says nothing; of several of a kind one is enough.
struct event_criteria {
    std::optional<std::uint64_t> since, until;  // ticks, both of them within
    std::vector<std::u32string> paths;          // patterns of characters whose case is folded, with "\" between names
    argument_list words;                        // lower case
    std::vector<wanted_file> files;
};

// Which events are reported.
struct event_selection {
    event_criteria wanted;
    event_criteria unwanted;
    argument_list given;  // the options, with their values

    bool any() const { return !given.empty(); }
    // As they may stand on a command line.
    std::string text() const { return joined(given, '\''); }
};

// Adds what a value of an option says. False, and nothing added, if it cannot be read.
// A pattern: "*" stands for any characters, separators included, "?" for one; "/" is as good as "\". One that begins
// with a separator, "[root]" or a drive's letter is of the whole path, any other of its end.
[[nodiscard]] bool add_path_pattern(event_criteria& criteria, std::string_view value);
// "created,deleted".
[[nodiscard]] bool add_event_words(event_criteria& criteria, std::string_view value);
// "42,0x2A-3": numbers of file records, with sequence numbers or without.
[[nodiscard]] bool add_files(event_criteria& criteria, std::string_view value);

}  // namespace kest
