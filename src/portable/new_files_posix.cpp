#include <cerrno>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "portable/file.h"
#include "portable/new_files.h"

namespace uni {

struct new_files::state {
    int folder = -1;
};

new_files::new_files(const std::string& path) : m_state(std::make_unique<state>()) {
    constexpr mode_t by_mask = 0777;
    if (::mkdir(path.c_str(), by_mask) == 0 || errno == EEXIST)
        m_state->folder = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (m_state->folder == -1) m_error = errno;
}

new_files::~new_files() {
    if (m_state->folder != -1) ::close(m_state->folder);
}

int new_files::add(const std::string& name, std::span<const std::uint8_t> bytes) const {
    constexpr mode_t by_mask = 0666;
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    const int file = ::openat(m_state->folder, name.c_str(), flags, by_mask);
    if (file == -1) return errno;
    const std::string text(bytes.begin(), bytes.end());
    int error = write_all(file, text) ? 0 : errno;
    if (::close(file) != 0 && error == 0) error = errno;
    if (error != 0) ::unlinkat(m_state->folder, name.c_str(), 0);
    return error;
}

}  // namespace uni
