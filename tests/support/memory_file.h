#pragma once

#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace kest::disk {

// A file in memory, reached by a path as a run wants it.
class memory_file {
public:
    explicit memory_file(std::span<const std::uint8_t> contents) : m_fd(memfd_create("input", MFD_CLOEXEC)) {
        if (m_fd == -1 || write(m_fd, contents.data(), contents.size()) != static_cast<ssize_t>(contents.size()))
            std::abort();
    }
    ~memory_file() { close(m_fd); }
    memory_file(const memory_file&) = delete;
    memory_file& operator=(const memory_file&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(m_fd); }

private:
    int m_fd;
};

}  // namespace kest::disk
