#pragma once

#include "report/event_fields.h"

namespace kest {

// Events in the two forms that timelines of many sources are put together from. An event stands at its time, or at its
// earliest, which its text says then.

// A body file, as `mactime` reads it: eleven fields and no titles.
std::span<const field<event_line>> body_fields();
// A table of seventeen columns, for viewers of such timelines.
std::span<const field<event_line>> timeline_fields();

}  // namespace kest
