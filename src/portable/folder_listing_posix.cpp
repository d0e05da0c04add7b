#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <new>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "portable/folder_listing.h"
#include "portable/posix_file.h"

namespace uni {

namespace {

struct directory_closer {
    void operator()(DIR* directory) const { ::closedir(directory); }
};
using open_directory = std::unique_ptr<DIR, directory_closer>;

open_directory open_listing(const std::string& path) {
    const int descriptor = open_untouched(path.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor == -1) return nullptr;
    open_directory listing(::fdopendir(descriptor));
    if (listing == nullptr) {
        const bool out_of_memory = errno == ENOMEM;
        ::close(descriptor);
        if (out_of_memory) throw std::bad_alloc();
    }
    return listing;
}

// Of what stands at the path itself.
entry_kind kind_of_entry(const std::string& path) {
    struct stat about {};
    if (::lstat(path.c_str(), &about) != 0) return entry_kind::other;
    if (S_ISDIR(about.st_mode)) return entry_kind::directory;
    if (S_ISREG(about.st_mode)) return entry_kind::file;
    return S_ISLNK(about.st_mode) && kind_at(path) == entry_kind::file ? entry_kind::file : entry_kind::other;
}

entry_kind kind_of(unsigned char type, const std::string& path) {
    if (type == DT_DIR) return entry_kind::directory;
    if (type == DT_REG) return entry_kind::file;
    return type == DT_LNK || type == DT_UNKNOWN ? kind_of_entry(path) : entry_kind::other;
}

}  // namespace

entry_kind kind_at(const std::string& path) {
    struct stat about {};
    if (::stat(path.c_str(), &about) != 0) return entry_kind::other;
    if (S_ISDIR(about.st_mode)) return entry_kind::directory;
    return S_ISREG(about.st_mode) ? entry_kind::file : entry_kind::other;
}

struct folder_listing::state {
    open_directory directory;
};

folder_listing::folder_listing(const std::string& path)
    : m_prefix(path.ends_with('/') ? path : path + '/'), m_state(new state{open_listing(path)}) {}

folder_listing::~folder_listing() = default;

bool folder_listing::next(entry& out) {
    DIR* const directory = m_state->directory.get();
    for (;;) {
        errno = 0;
        const dirent* const found = directory != nullptr ? ::readdir(directory) : nullptr;
        if (found == nullptr) {
            m_failed = directory == nullptr || errno != 0;
            return false;
        }
        out.name = found->d_name;
        if (out.name == "." || out.name == "..") continue;
        out.path = m_prefix + out.name;
        out.kind = kind_of(found->d_type, out.path);
        return true;
    }
}

}  // namespace uni
