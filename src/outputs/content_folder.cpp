#include "outputs/content_folder.h"

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

bool content_folder::put(const std::string& name, uni::byte_view bytes) {
    if (m_shut) return false;
    if (m_files == most_files || bytes.size() > most_bytes - m_bytes) {
        m_limit_hit = true;
        return false;
    }
    if (!m_folder) m_folder.emplace(m_path);
    if (m_folder->error() != 0) {
        m_shut = true;
        note_failure(m_path, m_folder->error());
        return false;
    }
    m_bytes += bytes.size();
    ++m_files;
    const int error = m_folder->add(name, bytes.bytes());
    if (error != 0) note_failure(m_path + '/' + name, error);
    return error == 0;
}

void content_folder::note_failure(const std::string& path, int error) {
    if (m_failures++ != 0) return;
    m_error = error;
    m_failed = path;
}

}  // namespace kest
