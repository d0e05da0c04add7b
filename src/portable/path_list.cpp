#include "portable/path_list.h"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include "portable/file.h"
#include "portable/folder_listing.h"
#include "portable/unfinished_file.h"

namespace cvportdir {

bool folder_walk::start(const std::string& root, std::uint32_t max_depth, path_test wanted) {
    m_max_depth = max_depth;
    m_wanted = std::move(wanted);
    m_directories.clear();
    m_files.clear();
    errno = ENOTDIR;
    m_open_error = uni::kind_at(root) == uni::entry_kind::directory ? 0 : errno;
    if (m_open_error != 0) return false;
    m_directories.push_back({root, 0});
    return true;
}

bool folder_walk::read_line(std::string& out) {
    while (m_files.empty()) {
        if (m_directories.empty()) return false;
        const directory where = std::move(m_directories.front());
        m_directories.pop_front();
        list(where);
    }
    out = std::move(m_files.front());
    m_files.pop_front();
    return true;
}

// One that cannot be listed is passed over.
void folder_walk::list(const directory& where) {
    uni::folder_listing listing(where.path);
    for (uni::folder_listing::entry found; listing.next(found);) {
        if (uni::is_unfinished_name(found.name)) continue;
        if (found.kind == uni::entry_kind::directory) {
            if (where.depth < m_max_depth) {
                m_directories.push_back({std::move(found.path), where.depth + 1});
            } else {
                ++m_too_deep;
            }
        } else if (found.kind == uni::entry_kind::file && (!m_wanted || m_wanted(found.path))) {
            m_files.push_back(std::move(found.path));
        }
    }
    if (listing.failed()) ++m_unreadable;
}

namespace {

constexpr std::size_t input_block = 65'536;

}  // namespace

// Kept: a line that is longer than any path arrives in pieces, its line feed included, and each piece counts as a path.
bool stdin_stream_ex::read_line(std::string& out) {
    constexpr const std::size_t& longest_piece = uni::piped_text::longest_line;
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
    const std::int64_t arrived = uni::read_some(uni::standard_input, m_block);
    m_failed = arrived < 0 && errno != EBADF;
    if (arrived <= 0) {
        m_unread = m_text.rest();
        return !m_unread.empty();
    }
    m_unread = m_text.decode({m_block.data(), static_cast<std::size_t>(arrived)});
    return true;
}

}  // namespace cvportdir
