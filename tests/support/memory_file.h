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
        put(contents, 0);
    }
    // The contents stand at the beginning and as often again up to the end; between them lie holes.
    memory_file(std::span<const std::uint8_t> contents, std::uint64_t size, std::uint64_t times = 1)
        : memory_file(contents) {
        for (std::uint64_t k = 1; k <= times; ++k)
            put(contents, static_cast<off_t>((size - contents.size()) / times * k));
    }
    ~memory_file() { close(m_fd); }
    memory_file(const memory_file&) = delete;
    memory_file& operator=(const memory_file&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(m_fd); }

private:
    void put(std::span<const std::uint8_t> contents, off_t offset) const {
        const ssize_t written = pwrite(m_fd, contents.data(), contents.size(), offset);
        if (written != static_cast<ssize_t>(contents.size())) std::abort();
    }

    int m_fd;
};

}  // namespace kest::disk
