#include "portable/file.h"

#include <algorithm>
#include <new>
#include <utility>

#include "portable/ending_signals.h"

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
    m_may_read_ahead = false;
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

fileio_output::fileio_output(file& target, writing how)
    : m_target([&target](std::string_view text) { return target.append(text); }), m_writing(how) {}

fileio_output::fileio_output(taker target, writing how) : m_target(std::move(target)), m_writing(how) {}

fileio_output::fileio_output() = default;

fileio_output::~fileio_output() {
    flush();
}

fileio_output::area fileio_output::make_area(std::size_t size) {
    return {std::make_unique_for_overwrite<char[]>(size), size};
}

void fileio_output::write(std::string_view text) {
    if (text.size() < put_area || !m_target) {
        std::copy_n(text.data(), text.size(), room(text.size()));
        advance(text.size());
    } else if (flush()) {
        m_good = pass_on(text);
    }
}

bool fileio_output::pass_on(std::string_view text) {
    m_passed_on += text.size();
    return m_target(text);
}

void fileio_output::make_room(std::size_t most) {
    if (m_writing == writing::in_place || !hand_over()) flush();
    if (most <= m_pending.size - m_used) return;
    area larger = make_area(2 * m_used + most);
    std::copy_n(m_pending.bytes.get(), m_used, larger.bytes.get());
    m_pending = std::move(larger);
}

// One area is written at a time, so they come in order. What is written ends where a block of the target does, as the
// system takes whole blocks faster; the rest begins the next area. False where there is no memory for that.
bool fileio_output::hand_over() {
    await_thread();
    if (!m_good || m_used == 0) return false;
    if (m_handed_over.size < block_size()) {
        const std::size_t size = block_size() + area_margin;
        std::unique_ptr<char[]> bytes(new (std::nothrow) char[size]);
        if (bytes) m_handed_over = {std::move(bytes), size};
    }
    const auto past_block = static_cast<std::size_t>((m_passed_on + m_used) % block_size());
    const std::size_t kept = past_block < m_used ? past_block : 0;
    if (m_handed_over.size == 0 || m_handed_over.size < kept) return false;
    if (!m_thread) {
        const signals_held held;  // from the thread: the main one holds them where it must
        // What is thrown while it is written leaves it as not taken.
        m_thread.emplace([this] { m_taken = m_target({m_handed_over.bytes.get(), m_handed_size}); });
    }
    m_handed_size = m_used - kept;
    std::copy_n(m_pending.bytes.get() + m_handed_size, kept, m_handed_over.bytes.get());
    std::swap(m_pending, m_handed_over);
    m_used = kept;
    m_passed_on += m_handed_size;
    m_taken = false;
    m_thread->begin();
    return true;
}

void fileio_output::await_thread() {
    if (!m_thread) return;
    try {
        m_thread->wait();
    } catch (...) {
        m_good = false;
        throw;
    }
    m_good = m_good && m_taken;
}

bool fileio_output::flush() {
    if (!m_target) return m_good;
    await_thread();
    if (m_good && m_used != 0) m_good = pass_on(pending());
    m_used = 0;
    return m_good;
}

}  // namespace uni
