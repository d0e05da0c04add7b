#include <windows.h>

#include "portable/file.h"
#include "portable/new_files.h"
#include "portable/windows_text.h"

namespace uni {

struct new_files::state {
    std::string prefix;
    HANDLE folder = INVALID_HANDLE_VALUE;
};

// As long as the folder is open without being shared for deletion, no link can take its place.
new_files::new_files(const std::string& path) : m_state(std::make_unique<state>()) {
    const std::wstring name = wide_path(path);
    if (::CreateDirectoryW(name.c_str(), nullptr) == 0 && ::GetLastError() != ERROR_ALREADY_EXISTS) return;
    m_state->prefix = path + '/';
    m_state->folder = ::CreateFileW(name.c_str(), FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    BY_HANDLE_FILE_INFORMATION about{};
    if (!is_open() || ::GetFileInformationByHandle(m_state->folder, &about) == 0) return;
    const bool folder = (about.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (folder && (about.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) return;
    ::CloseHandle(m_state->folder);
    m_state->folder = INVALID_HANDLE_VALUE;
}

new_files::~new_files() {
    if (is_open()) ::CloseHandle(m_state->folder);
}

bool new_files::is_open() const {
    return m_state->folder != INVALID_HANDLE_VALUE;
}

bool new_files::add(const std::string& name, std::span<const std::uint8_t> bytes) const {
    const std::string path = m_state->prefix + name;
    file added;
    if (!added.open(path, open_mode::create_new)) return false;
    const std::string text(bytes.begin(), bytes.end());
    const bool written = added.append(text);
    if (added.close() && written) return true;
    remove_name(path);
    return false;
}

}  // namespace uni
