#include "outputs/content_folder.h"

namespace kest {

bool content_folder::put(const std::string& name, uni::byte_view bytes) {
    if (!m_failed.empty()) return false;
    if (m_files == most_files || bytes.size() > most_bytes - m_bytes) {
        m_limit_hit = true;
        return false;
    }
    if (!m_folder) m_folder.emplace(m_path);
    if (!m_folder->is_open()) {
        m_failed = m_path;
    } else if (!m_folder->add(name, bytes.bytes())) {
        m_failed = m_path + '/' + name;
    }
    m_bytes += bytes.size();
    ++m_files;
    return m_failed.empty();
}

}  // namespace kest
