#include "portable/file.h"

#include <algorithm>
#include <utility>

namespace uni {

std::string_view trimmed_path(std::string_view path) {
    return path.substr(0, path.find_last_not_of("/\\") + 1);  // none such: npos + 1 is 0
}

std::size_t last_name(std::string_view path) {
    const auto last = std::find_if(path.rbegin(), path.rend(), is_separator);
    return static_cast<std::size_t>(path.rend() - last);
}

file::~file() {
    close();
}

fileio_output::fileio_output(file& target)
    : m_target(&target), m_pending(std::make_unique_for_overwrite<char[]>(put_area)) {}

fileio_output::fileio_output() : m_pending(std::make_unique_for_overwrite<char[]>(put_area)) {}

void fileio_output::write(std::string_view text) {
    if (text.size() < put_area || m_target == nullptr) {
        std::copy_n(text.data(), text.size(), room(text.size()));
        advance(text.size());
    } else if (flush()) {
        m_good = m_target->append(text);
    }
}

void fileio_output::make_room(std::size_t most) {
    flush();
    if (most <= m_size - m_used) return;
    auto larger = std::make_unique_for_overwrite<char[]>(2 * m_used + most);
    std::copy_n(m_pending.get(), m_used, larger.get());
    m_pending = std::move(larger);
    m_size = 2 * m_used + most;
}

bool fileio_output::flush() {
    if (m_target == nullptr) return m_good;
    if (m_good && m_used != 0) m_good = m_target->append({m_pending.get(), m_used});
    m_used = 0;
    return m_good;
}

}  // namespace uni
