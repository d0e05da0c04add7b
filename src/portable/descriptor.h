#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace uni {

// Writes all of `bytes` where `descriptor` stands: short and interrupted writes are continued, and a descriptor that
// cannot take more just now is waited for. False if not all could be written.
[[nodiscard]] bool write_all(int descriptor, std::string_view bytes);

// Reads what has arrived, and waits for something if nothing has. The bytes read, 0 at the end, -1 for a failure.
std::int64_t read_some(int descriptor, std::span<char> buffer);

}  // namespace uni
