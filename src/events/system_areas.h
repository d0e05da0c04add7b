#pragma once

#include "events/event.h"

namespace kest {

// Whether the event is what the system does by itself, as in its restore and indexing areas. False wherever a name of
// the path is not known, and for what shows tampering.
bool is_in_system_area(const event& shown);

}  // namespace kest
