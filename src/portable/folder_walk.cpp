#include "portable/folder_walk.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <new>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "portable/file.h"
#include "portable/unfinished_file.h"

namespace cvportdir {

namespace {

struct directory_closer {
    void operator()(DIR* directory) const { ::closedir(directory); }
};
using open_directory = std::unique_ptr<DIR, directory_closer>;

open_directory open_listing(const std::string& path) {
    const int descriptor = uni::open_untouched(path.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor == -1) return nullptr;
    open_directory listing(::fdopendir(descriptor));
    if (listing == nullptr) {
        const bool out_of_memory = errno == ENOMEM;
        ::close(descriptor);
        if (out_of_memory) throw std::bad_alloc();
    }
    return listing;
}

enum class entry_kind { file, directory, other };

// Of what stands at the path itself, or of what a link leads to.
entry_kind kind_at(const std::string& path, bool follow) {
    struct stat about {};
    if ((follow ? ::stat(path.c_str(), &about) : ::lstat(path.c_str(), &about)) != 0) return entry_kind::other;
    if (S_ISDIR(about.st_mode)) return entry_kind::directory;
    if (S_ISREG(about.st_mode)) return entry_kind::file;
    return S_ISLNK(about.st_mode) && kind_at(path, true) == entry_kind::file ? entry_kind::file : entry_kind::other;
}

entry_kind kind_of(unsigned char type, const std::string& path) {
    if (type == DT_DIR) return entry_kind::directory;
    if (type == DT_REG) return entry_kind::file;
    return type == DT_LNK || type == DT_UNKNOWN ? kind_at(path, false) : entry_kind::other;
}

}  // namespace

bool folder_walk::start(const std::string& root, std::uint32_t max_depth, path_test wanted) {
    m_max_depth = max_depth;
    m_wanted = std::move(wanted);
    m_directories.clear();
    m_files.clear();
    errno = ENOTDIR;
    m_open_error = kind_at(root, true) == entry_kind::directory ? 0 : errno;
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
    const open_directory listing = open_listing(where.path);
    const std::string prefix = where.path.ends_with('/') ? where.path : where.path + '/';
    for (;;) {
        errno = 0;
        const dirent* const entry = listing != nullptr ? ::readdir(listing.get()) : nullptr;
        if (entry == nullptr) {
            if (listing == nullptr || errno != 0) ++m_unreadable;
            return;
        }
        const std::string_view name = entry->d_name;
        if (name == "." || name == ".." || uni::is_unfinished_name(name)) continue;
        std::string path = prefix;
        path += name;
        const entry_kind kind = kind_of(entry->d_type, path);
        if (kind == entry_kind::directory) {
            if (where.depth < m_max_depth) {
                m_directories.push_back({std::move(path), where.depth + 1});
            } else {
                ++m_too_deep;
            }
        } else if (kind == entry_kind::file && (!m_wanted || m_wanted(path))) {
            m_files.push_back(std::move(path));
        }
    }
}

}  // namespace cvportdir
