#pragma once

namespace uni {

// Opens to read without a trace in the access time, which only the owner may ask for; as usual where that is refused.
// The descriptor, or -1.
int open_untouched(const char* path, int flags);

}  // namespace uni
