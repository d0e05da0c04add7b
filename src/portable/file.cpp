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

std::string_view folder_of(std::string_view path) {
    const std::string_view folder = path.substr(0, last_name(path));
    if (folder.empty()) return ".";
    const auto last = std::find_if_not(folder.rbegin(), folder.rend(), is_separator);
    const auto length = static_cast<std::size_t>(folder.rend() - last);
    return folder.substr(0, std::max<std::size_t>(length, 1));
}

file::~file() {
    close();
}

void file::attach(int descriptor) {
    close();
    m_fd = descriptor;
    m_attached = true;
}

bool file::close() {
    const bool closed = m_attached ? settle() : !is_open() || close_descriptor(m_fd);
    m_fd = -1;
    m_size = 0;
    m_attached = false;
    m_of_process = false;
    return closed;
}

read_result file::read_at(std::span<std::uint8_t> buffer, std::uint64_t offset) const {
    if (!is_open()) return {.failed = true};
    read_result result;
    if (offset >= m_size) return result;
    buffer = buffer.first(static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), m_size - offset)));
    while (result.bytes < buffer.size()) {
        const std::int64_t arrived = read_piece(m_fd, buffer.subspan(result.bytes), offset + result.bytes);
        result.failed = arrived < 0;
        if (arrived <= 0) break;
        result.bytes += static_cast<std::size_t>(arrived);
    }
    return result;
}

fileio_output::fileio_output(file& target)
    : fileio_output([&target](std::string_view text) { return target.append(text); }) {}

fileio_output::fileio_output(taker target)
    : m_target(std::move(target)), m_pending(std::make_unique_for_overwrite<char[]>(put_area)) {}

fileio_output::fileio_output() : m_pending(std::make_unique_for_overwrite<char[]>(put_area)) {}

void fileio_output::write(std::string_view text) {
    if (text.size() < put_area || !m_target) {
        std::copy_n(text.data(), text.size(), room(text.size()));
        advance(text.size());
    } else if (flush()) {
        m_good = m_target(text);
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
    if (!m_target) return m_good;
    if (m_good && m_used != 0) m_good = m_target({m_pending.get(), m_used});
    m_used = 0;
    return m_good;
}

}  // namespace uni
