#include <windows.h>
#include <algorithm>
#include <cerrno>

#include "portable/unicode.h"
#include "portable/windows_text.h"

namespace uni {

namespace {

// Not in every header.
constexpr DWORD virus_infected = 225, disk_quota_exceeded = 1295;

struct error_row {
    DWORD system;
    int error;
};
constexpr error_row error_rows[] = {
    {ERROR_FILE_NOT_FOUND, ENOENT},
    {ERROR_PATH_NOT_FOUND, ENOENT},
    {ERROR_INVALID_NAME, ENOENT},
    {ERROR_BAD_PATHNAME, ENOENT},
    {ERROR_INVALID_DRIVE, ENOENT},
    {ERROR_DIRECTORY, ENOTDIR},
    {ERROR_ACCESS_DENIED, EACCES},
    {ERROR_PRIVILEGE_NOT_HELD, EACCES},
    {ERROR_SHARING_VIOLATION, EBUSY},
    {ERROR_LOCK_VIOLATION, EBUSY},
    {ERROR_USER_MAPPED_FILE, EBUSY},
    {ERROR_FILE_EXISTS, EEXIST},
    {ERROR_ALREADY_EXISTS, EEXIST},
    {ERROR_FILENAME_EXCED_RANGE, ENAMETOOLONG},
    {ERROR_TOO_MANY_OPEN_FILES, EMFILE},
    {ERROR_WRITE_PROTECT, EROFS},
    {ERROR_DISK_FULL, ENOSPC},
    {ERROR_HANDLE_DISK_FULL, ENOSPC},
    {ERROR_NOT_ENOUGH_MEMORY, ENOMEM},
    {ERROR_OUTOFMEMORY, ENOMEM},
    {ERROR_BAD_NETPATH, ENOENT},
    {ERROR_BAD_NET_NAME, ENOENT},
    {virus_infected, EACCES},
    {ERROR_LOGON_FAILURE, EACCES},
    {ERROR_DELETE_PENDING, EBUSY},
    {ERROR_CANT_RESOLVE_FILENAME, ELOOP},
    {disk_quota_exceeded, ENOSPC},
    {ERROR_NO_SYSTEM_RESOURCES, ENOMEM},
};

constexpr std::wstring_view verbatim = L"\\\\?\\";
constexpr std::wstring_view device = L"\\\\.\\";
constexpr std::wstring_view verbatim_share = L"\\\\?\\UNC\\";

}  // namespace

std::wstring wide_text(std::string_view text, unsigned code_page) {
    const int size = static_cast<int>(text.size());
    const int needed = ::MultiByteToWideChar(code_page, 0, text.data(), size, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(needed), L'\0');
    ::MultiByteToWideChar(code_page, 0, text.data(), size, wide.data(), needed);
    return wide;
}

std::wstring wide_text(std::string_view text) {
    std::wstring wide;
    wide.reserve(text.size());
    while (!text.empty()) {
        std::size_t bytes = utf8_character_bytes(text);
        const auto byte = [text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
        if (bytes != 0) {
            const char32_t point = utf8_character(text, bytes);
            if (point >= 0x10000) wide += static_cast<wchar_t>(0xD800 + ((point - 0x10000) >> 10));
            wide += static_cast<wchar_t>(point >= 0x10000 ? 0xDC00 + ((point - 0x10000) & 0x3FF) : point);
        } else if (text.size() > 2 && byte(0) == 0xED && byte(1) >= 0xA0 && byte(1) < 0xC0 && byte(2) >> 6 == 2) {
            wide += static_cast<wchar_t>(0xD000 | (byte(1) & 0x3F) << 6 | (byte(2) & 0x3F));
            bytes = 3;
        } else {
            wide += static_cast<wchar_t>(0xFFFD);
            bytes = 1;
        }
        text.remove_prefix(bytes);
    }
    return wide;
}

std::string narrow_text(std::wstring_view text) {
    std::string narrow;
    narrow.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        char32_t point = text[at];
        const char32_t next = at + 1 < text.size() ? text[at + 1] : 0;
        if (point >> 10 == 0xD800 >> 10 && next >> 10 == 0xDC00 >> 10) {
            point = 0x10000 + ((point - 0xD800) << 10) + (next - 0xDC00);
            ++at;
        }
        char character[most_utf8_bytes];
        narrow.append(character, put_utf8(character, point));
    }
    return narrow;
}

std::wstring wide_path(std::string_view path) {
    std::wstring given = wide_text(path);
    std::ranges::replace(given, L'/', L'\\');
    if (given.starts_with(verbatim) || given.starts_with(device)) return given;
    std::wstring whole(::GetFullPathNameW(given.c_str(), 0, nullptr, nullptr), L'\0');
    whole.resize(::GetFullPathNameW(given.c_str(), static_cast<DWORD>(whole.size()), whole.data(), nullptr));
    if (whole.size() < MAX_PATH - 12) return whole;  // a folder's path has to be so much shorter
    return verbatim_path(whole);
}

std::wstring verbatim_path(std::wstring_view whole) {
    if (whole.starts_with(verbatim) || whole.starts_with(device)) return std::wstring(whole);
    if (whole.starts_with(L"\\\\")) return std::wstring(verbatim_share).append(whole.substr(2));
    return std::wstring(verbatim).append(whole);
}

int errno_of(unsigned long error) {
    const auto row = std::ranges::find(error_rows, error, &error_row::system);
    return row != std::end(error_rows) ? row->error : EIO;
}

}  // namespace uni
