#include "outputs/content_folder.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kest {

content_folder::~content_folder() {
    if (m_folder != -1) ::close(m_folder);
}

bool content_folder::open() {
    constexpr mode_t by_mask = 0777;
    if (m_folder != -1) return true;
    if (::mkdir(m_path.c_str(), by_mask) != 0 && errno != EEXIST) return false;
    m_folder = ::open(m_path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    return m_folder != -1;
}

bool content_folder::write(const std::string& name, uni::byte_view bytes) const {
    constexpr mode_t by_mask = 0666;
    const int file = ::openat(m_folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, by_mask);
    if (file == -1) return false;
    bool whole = true;
    for (std::size_t at = 0; at < bytes.size() && whole;) {
        const ssize_t written = ::write(file, bytes.bytes().data() + at, bytes.size() - at);
        if (written > 0) at += static_cast<std::size_t>(written);
        whole = written > 0 || (written < 0 && errno == EINTR);
    }
    return ::close(file) == 0 && whole;
}

bool content_folder::put(const std::string& name, uni::byte_view bytes) {
    if (!m_failed.empty()) return false;
    if (m_files == most_files || bytes.size() > most_bytes - m_bytes) {
        m_limit_hit = true;
        return false;
    }
    if (!open()) {
        m_failed = m_path;
    } else if (!write(name, bytes)) {
        m_failed = m_path + '/' + name;
    }
    m_bytes += bytes.size();
    ++m_files;
    return m_failed.empty();
}

}  // namespace kest
