#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/mman.h>
#include <unistd.h>

#include "support/system.h"

namespace kest::disk {

const char* const null_device = "/dev/null";

std::string make_folder() {
    std::string path = (std::filesystem::temp_directory_path() / "kest_XXXXXX").string();
    if (::mkdtemp(path.data()) == nullptr) std::abort();
    return path;
}

bool unpack(const std::string& packed, const std::string& to) {
    return std::system(("xz -dc '" + packed + "' >'" + to + "'").c_str()) == 0;
}

void clear_variables() {
    if (::clearenv() != 0) std::abort();
}

void set_variable(const char* name, const char* value) {
    ::setenv(name, value, 1);
}

redirected::redirected(int standard, const std::string& path)
    : m_standard(standard),
      m_saved(::fcntl(standard, F_DUPFD_CLOEXEC, 10)),
      m_opened(
          ::open(path.c_str(), O_CLOEXEC | O_NOCTTY | (standard == STDIN_FILENO ? O_RDONLY | O_NONBLOCK : O_WRONLY))) {
    ::dup2(static_cast<int>(m_opened), standard);
}

redirected::~redirected() {
    ::dup2(static_cast<int>(m_saved), m_standard);
    ::close(static_cast<int>(m_saved));
    ::close(static_cast<int>(m_opened));
}

memory_file::memory_file(std::span<const std::uint8_t> contents, std::uint64_t size, std::uint64_t times)
    : m_fd(::memfd_create("input", MFD_CLOEXEC)), m_path("/proc/self/fd/" + std::to_string(m_fd)) {
    put(contents, 0);
    for (std::uint64_t k = 1; size != 0 && k <= times; ++k)
        put(contents, (size - contents.size()) / times * k);
}

memory_file::~memory_file() {
    ::close(m_fd);
}

void memory_file::put(std::span<const std::uint8_t> contents, std::uint64_t offset) const {
    const ssize_t written = ::pwrite(m_fd, contents.data(), contents.size(), static_cast<off_t>(offset));
    if (written != static_cast<ssize_t>(contents.size())) std::abort();
}

}  // namespace kest::disk
