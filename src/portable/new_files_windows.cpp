#include <windows.h>
#include <cerrno>

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
    if (::CreateDirectoryW(name.c_str(), nullptr) == 0 && ::GetLastError() != ERROR_ALREADY_EXISTS) {
        m_error = errno_of(::GetLastError());
        return;
    }
    m_state->prefix = path + '/';
    m_state->folder = ::CreateFileW(name.c_str(), FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    BY_HANDLE_FILE_INFORMATION about{};
    if (m_state->folder == INVALID_HANDLE_VALUE || ::GetFileInformationByHandle(m_state->folder, &about) == 0) {
        m_error = errno_of(::GetLastError());
        return;
    }
    const bool folder = (about.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (!folder || (about.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) m_error = ENOTDIR;
}

new_files::~new_files() {
    if (m_state->folder != INVALID_HANDLE_VALUE) ::CloseHandle(m_state->folder);
}

int new_files::add(const std::string& name, std::span<const std::uint8_t> bytes) const {
    const std::string path = m_state->prefix + name;
    file added;
    if (!added.open(path, open_mode::create_new)) return added.open_error();
    const std::string text(bytes.begin(), bytes.end());
    const int error = added.append(text) ? 0 : errno_of(::GetLastError());
    if (added.close() && error == 0) return 0;
    remove_name(path);
    return error != 0 ? error : EIO;
}

}  // namespace uni
