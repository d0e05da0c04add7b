#include "portable/child_process.h"

namespace uni {

// A process cannot be divided here: what needs one of its own is not done.

process_link::~process_link() = default;
process_link::process_link(process_link&& other) noexcept = default;
process_link& process_link::operator=(process_link&& other) noexcept = default;

bool process_link::send(std::span<const std::uint8_t>) const {
    return false;
}

process_link::arrival process_link::receive(std::span<std::uint8_t>, std::optional<std::chrono::milliseconds>) const {
    return arrival::ended;
}

child_process::~child_process() = default;

bool child_process::start(std::uint64_t, const std::function<void(const process_link&)>&) {
    return false;
}

std::optional<int> child_process::end(bool) {
    return std::nullopt;
}

}  // namespace uni
