#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "events/event.h"
#include "operations/details_writer.h"

namespace kest {

// What is said of an event, in whatever shape.

std::string_view source_word(const event& shown);
std::string_view clock_word(const event& shown);
std::string_view clock_description(const event& shown);  // the same in more words
std::string_view known_word(const event& shown);
std::string_view state_word(const event& shown);  // empty for what no transaction did
std::string_view proof_word(const data_place& place);
std::string_view unused_word(const data_place& place);  // empty if it is not known
std::string_view type_word(const event& shown);         // empty if it is not known
void append_event_word(std::string& out, const event& shown);
// All such words, in lower case.
std::vector<std::string_view> event_words();
// What happened, as people say it: "renamed [root]\\a.txt to [root]\\b.txt".
void append_sentence(std::string& out, const event& shown);
// What changed: a group for each side.
void write_event_details(details_writer& details, const event& shown);

}  // namespace kest
