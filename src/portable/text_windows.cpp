#include <windows.h>
#include <algorithm>
#include <cerrno>

#include "portable/windows_text.h"

namespace uni {

namespace {

struct error_row {
    DWORD system;
    int error;
};
constexpr error_row error_rows[] = {
    {ERROR_FILE_NOT_FOUND, ENOENT},      {ERROR_PATH_NOT_FOUND, ENOENT},
    {ERROR_INVALID_NAME, ENOENT},        {ERROR_BAD_PATHNAME, ENOENT},
    {ERROR_INVALID_DRIVE, ENOENT},       {ERROR_DIRECTORY, ENOTDIR},
    {ERROR_ACCESS_DENIED, EACCES},       {ERROR_PRIVILEGE_NOT_HELD, EACCES},
    {ERROR_SHARING_VIOLATION, EBUSY},    {ERROR_LOCK_VIOLATION, EBUSY},
    {ERROR_USER_MAPPED_FILE, EBUSY},     {ERROR_FILE_EXISTS, EEXIST},
    {ERROR_ALREADY_EXISTS, EEXIST},      {ERROR_FILENAME_EXCED_RANGE, ENAMETOOLONG},
    {ERROR_TOO_MANY_OPEN_FILES, EMFILE}, {ERROR_WRITE_PROTECT, EROFS},
    {ERROR_DISK_FULL, ENOSPC},           {ERROR_HANDLE_DISK_FULL, ENOSPC},
    {ERROR_NOT_ENOUGH_MEMORY, ENOMEM},   {ERROR_OUTOFMEMORY, ENOMEM},
};

constexpr std::wstring_view verbatim = L"\\\\?\\";
constexpr std::wstring_view verbatim_share = L"\\\\?\\UNC\\";

}  // namespace

std::wstring wide_text(std::string_view text) {
    const int size = static_cast<int>(text.size());
    std::wstring wide(static_cast<std::size_t>(::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0)),
                      L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), static_cast<int>(wide.size()));
    return wide;
}

std::string narrow_text(std::wstring_view text) {
    const int size = static_cast<int>(text.size());
    const int needed = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(needed), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, narrow.data(), needed, nullptr, nullptr);
    return narrow;
}

std::wstring wide_path(std::string_view path) {
    std::wstring given = wide_text(path);
    std::ranges::replace(given, L'/', L'\\');
    if (given.starts_with(L"\\\\?\\") || given.starts_with(L"\\\\.\\")) return given;
    std::wstring whole(::GetFullPathNameW(given.c_str(), 0, nullptr, nullptr), L'\0');
    whole.resize(::GetFullPathNameW(given.c_str(), static_cast<DWORD>(whole.size()), whole.data(), nullptr));
    if (whole.size() < MAX_PATH - 12) return whole;  // a folder's path has to be so much shorter
    if (whole.starts_with(L"\\\\")) return std::wstring(verbatim_share).append(whole, 2);
    return std::wstring(verbatim).append(whole);
}

int errno_of(unsigned long error) {
    const auto row = std::ranges::find(error_rows, error, &error_row::system);
    return row != std::end(error_rows) ? row->error : EIO;
}

}  // namespace uni
