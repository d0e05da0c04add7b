#include "portable/descriptor.h"

#include <cerrno>
#include <poll.h>
#include <unistd.h>

namespace uni {

namespace {

// Says whether a call that failed with `errno` is to be made again, and waits until that makes sense. A descriptor
// may be non-blocking because another process that shares it wants it so.
bool try_again(int descriptor, short events) {
    if (errno == EINTR) return true;
    if (errno != EAGAIN && errno != EWOULDBLOCK) return false;
    pollfd awaited{descriptor, events, 0};
    constexpr int without_limit = -1;
    return ::poll(&awaited, 1, without_limit) > 0 || errno == EINTR;
}

}  // namespace

bool write_all(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || !try_again(descriptor, POLLOUT)) {
            return false;
        }
    }
    return true;
}

std::int64_t read_some(int descriptor, std::span<char> buffer) {
    for (;;) {
        const ssize_t arrived = ::read(descriptor, buffer.data(), buffer.size());
        if (arrived >= 0 || !try_again(descriptor, POLLIN)) return arrived;
    }
}

}  // namespace uni
