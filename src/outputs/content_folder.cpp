#include "outputs/content_folder.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kest {

namespace {

// With a separator at its end, a link's name would be that of what it leads to.
std::string without_separators(std::string path) {
    while (path.size() > 1 && (path.ends_with('/') || path.ends_with("/.")))
        path.pop_back();
    return path;
}

}  // namespace

content_folder::content_folder(std::string path) : m_path(without_separators(std::move(path))) {}

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
    if (m_shut) return false;
    if (m_files == most_files || bytes.size() > most_bytes - m_bytes) {
        m_limit_hit = true;
        return false;
    }
    if (!open()) {
        m_shut = true;
        note_failure(m_path);
        return false;
    }
    m_bytes += bytes.size();
    ++m_files;
    if (write(name, bytes)) return true;
    note_failure(m_path + '/' + name);
    return false;
}

void content_folder::note_failure(const std::string& path) {
    if (m_failures++ != 0) return;
    m_error = errno;
    m_failed = path;
}

}  // namespace kest
