#pragma once

#include "report/event_fields.h"

namespace kest {

// The fields of a run of clusters that a file got or lost, in order.
std::span<const field<event_line>> extent_fields();

}  // namespace kest
