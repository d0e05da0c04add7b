#include "portable/stdin_stream_ex.h"

#include <algorithm>
#include <dirent.h>
#include <memory>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "portable/descriptor.h"

namespace cvportdir {

namespace {

// Kept: a longer line arrives in pieces of this many bytes, its line feed included, and each piece counts as a path.
// No path that the system opens is longer.
constexpr std::size_t longest_piece = 4095;
constexpr std::size_t input_block = 65'536;

struct directory_closer {
    void operator()(DIR* directory) const { ::closedir(directory); }
};

bool is_directory(const std::string& path) {
    struct stat about {};
    return ::stat(path.c_str(), &about) == 0 && S_ISDIR(about.st_mode);
}

enum class entry_kind { file, directory, link_to_directory };

entry_kind kind_of(unsigned char type, const std::string& path) {
    if (type == DT_DIR) return entry_kind::directory;
    if (type != DT_LNK && type != DT_UNKNOWN) return entry_kind::file;
    if (!is_directory(path)) return entry_kind::file;
    struct stat about {};
    const bool is_link = ::lstat(path.c_str(), &about) == 0 && S_ISLNK(about.st_mode);
    return is_link ? entry_kind::link_to_directory : entry_kind::directory;
}

}  // namespace

void stdin_stream_ex::read_stdin() {
    m_walking = false;
    m_directories.clear();
    m_files.clear();
}

bool stdin_stream_ex::walk(const std::string& root, std::uint32_t max_depth, path_test wanted) {
    m_walking = true;
    m_max_depth = max_depth;
    m_wanted = std::move(wanted);
    m_directories.clear();
    m_files.clear();
    if (!is_directory(root)) return false;
    m_directories.push_back({root, 0});
    return true;
}

bool stdin_stream_ex::read_line(std::string& out) {
    return m_walking ? next_file(out) : next_line(out);
}

bool stdin_stream_ex::next_line(std::string& out) {
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
    if (arrived <= 0) return false;
    m_unread = std::string_view(m_block.data(), static_cast<std::size_t>(arrived));
    return true;
}

bool stdin_stream_ex::next_file(std::string& out) {
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
void stdin_stream_ex::list(const directory& where) {
    const std::unique_ptr<DIR, directory_closer> listing(::opendir(where.path.c_str()));
    if (listing == nullptr) return;
    const std::string prefix = where.path.ends_with('/') ? where.path : where.path + '/';
    while (const dirent* entry = ::readdir(listing.get())) {
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..") continue;
        std::string path = prefix;
        path += name;
        const entry_kind kind = kind_of(entry->d_type, path);
        if (kind == entry_kind::directory) {
            if (where.depth < m_max_depth) m_directories.push_back({std::move(path), where.depth + 1});
        } else if (kind == entry_kind::file && (!m_wanted || m_wanted(path))) {
            m_files.push_back(std::move(path));
        }
    }
}

}  // namespace cvportdir
