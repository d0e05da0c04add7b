#pragma once

#include "report/event_fields.h"

namespace kest {

// The fields of a piece of content that the log holds, in order.
std::span<const field<event_line>> content_fields();

// The name of the file that it is put to: numbers only.
std::string content_name(const event& shown);

// What is wrong with the run, as a line for the operator; empty if nothing is.
std::string words_on_contents(const logfile_options& options);

}  // namespace kest
