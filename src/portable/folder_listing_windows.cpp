#include <windows.h>
#include <cerrno>

#include "portable/file.h"
#include "portable/folder_listing.h"
#include "portable/windows_text.h"

namespace uni {

namespace {

entry_kind kind_of(DWORD attributes) {
    if ((attributes & FILE_ATTRIBUTE_DEVICE) != 0) return entry_kind::other;
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? entry_kind::directory : entry_kind::file;
}

// Some names are others, or devices, unless the path is verbatim: `log.`, `aux.txt`. Other systems write them.
std::string path_of(const std::string& prefix, const std::string& name) {
    const std::string path = prefix + name;
    if (wide_path(path).ends_with(L'\\' + wide_text(name))) return path;
    return narrow_text(verbatim_path(wide_path(prefix))) + name;
}

}  // namespace

entry_kind kind_at(const std::string& path) {
    const DWORD attributes = ::GetFileAttributesW(wide_path(path).c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES) return kind_of(attributes);
    errno = errno_of(::GetLastError());
    return entry_kind::other;
}

struct folder_listing::state {
    WIN32_FIND_DATAW found{};
    HANDLE search = INVALID_HANDLE_VALUE;
    bool has_next = false;
};

folder_listing::folder_listing(const std::string& path)
    : m_prefix(!path.empty() && is_separator(path.back()) ? path : path + '/'), m_state(new state) {
    m_state->search = ::FindFirstFileExW(wide_path(m_prefix + '*').c_str(), FindExInfoBasic, &m_state->found,
                                         FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH);
    m_state->has_next = m_state->search != INVALID_HANDLE_VALUE;
    m_failed = !m_state->has_next && ::GetLastError() != ERROR_FILE_NOT_FOUND;
}

folder_listing::~folder_listing() {
    if (m_state->search != INVALID_HANDLE_VALUE) ::FindClose(m_state->search);
}

bool folder_listing::next(entry& out) {
    while (m_state->has_next) {
        const WIN32_FIND_DATAW& found = m_state->found;
        out.name = narrow_text(found.cFileName);
        out.path = path_of(m_prefix, out.name);
        out.kind = kind_of(found.dwFileAttributes);
        // What a link leads to: never a folder.
        if ((found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 && out.kind == entry_kind::directory)
            out.kind = entry_kind::other;
        m_state->has_next = ::FindNextFileW(m_state->search, &m_state->found) != 0;
        if (!m_state->has_next) m_failed = ::GetLastError() != ERROR_NO_MORE_FILES;
        if (out.name != "." && out.name != "..") return true;
    }
    return false;
}

}  // namespace uni
