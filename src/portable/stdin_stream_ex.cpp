#include "portable/stdin_stream_ex.h"

#include <algorithm>
#include <cerrno>
#include <unistd.h>

#include "portable/descriptor.h"

namespace cvportdir {

namespace {

// Kept: a longer line arrives in pieces of this many bytes, its line feed included, and each piece counts as a path.
// No path that the system opens is longer.
constexpr std::size_t longest_piece = 4095;
constexpr std::size_t input_block = 65'536;

}  // namespace

bool stdin_stream_ex::read_line(std::string& out) {
    out.clear();
    bool ended = false;
    while (!ended && out.size() < longest_piece && (!m_unread.empty() || read_block())) {
        std::string_view part = m_unread.substr(0, longest_piece - out.size());
        const std::size_t line_feed = part.find('\n');
        ended = line_feed != part.npos;
        if (ended) part = part.substr(0, line_feed + 1);
        out += part;
        m_unread.remove_prefix(part.size());
    }
    if (out.empty()) return false;
    out.resize(std::min(out.size(), out.find('\0')));
    out.resize(out.find_last_not_of("\r\n") + 1);  // none such: npos + 1 is 0
    return true;
}

// False at the end of the input.
bool stdin_stream_ex::read_block() {
    m_block.resize(input_block);
    const std::int64_t arrived = uni::read_some(STDIN_FILENO, m_block);
    m_failed = arrived < 0 && errno != EBADF;
    if (arrived <= 0) return false;
    m_unread = std::string_view(m_block.data(), static_cast<std::size_t>(arrived));
    return true;
}

}  // namespace cvportdir
