#include <windows.h>
#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <io.h>
#include <utility>
#include <vector>

#include "portable/file.h"
#include "portable/windows_text.h"

namespace uni {

namespace {

constexpr std::size_t most_at_once = 1 << 28;  // bytes
constexpr DWORD shared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

HANDLE handle_of(int descriptor) {
    switch (descriptor) {
        case standard_input:
            return ::GetStdHandle(STD_INPUT_HANDLE);
        case standard_output:
            return ::GetStdHandle(STD_OUTPUT_HANDLE);
        case standard_error:
            return ::GetStdHandle(STD_ERROR_HANDLE);
        default:
            return reinterpret_cast<HANDLE>(::_get_osfhandle(descriptor));
    }
}

// A handle that is closed when it goes.
class owned_handle {
public:
    explicit owned_handle(HANDLE handle) : m_handle(handle) {}
    ~owned_handle() {
        if (is_open()) ::CloseHandle(m_handle);
    }
    owned_handle(const owned_handle&) = delete;
    owned_handle& operator=(const owned_handle&) = delete;

    bool is_open() const { return m_handle != INVALID_HANDLE_VALUE; }
    HANDLE get() const { return m_handle; }
    HANDLE release() { return std::exchange(m_handle, INVALID_HANDLE_VALUE); }

private:
    HANDLE m_handle;
};

std::optional<BY_HANDLE_FILE_INFORMATION> about(HANDLE handle) {
    BY_HANDLE_FILE_INFORMATION known{};
    if (::GetFileType(handle) != FILE_TYPE_DISK || ::GetFileInformationByHandle(handle, &known) == 0)
        return std::nullopt;
    return known;
}

// To ask about it; folders, too.
HANDLE open_to_ask(std::string_view path, DWORD further_flags = 0) {
    return ::CreateFileW(wide_path(path).c_str(), FILE_READ_ATTRIBUTES, shared, nullptr, OPEN_EXISTING,
                         FILE_FLAG_BACKUP_SEMANTICS | further_flags, nullptr);
}

std::uint64_t joined(DWORD high, DWORD low) {
    return std::uint64_t{high} << 32 | low;
}

std::uint64_t ticks_of(const FILETIME& time) {
    return joined(time.dwHighDateTime, time.dwLowDateTime);
}

file_identity identity_of(const BY_HANDLE_FILE_INFORMATION& known) {
    return {known.dwVolumeSerialNumber, joined(known.nFileIndexHigh, known.nFileIndexLow)};
}

bool is_folder(const BY_HANDLE_FILE_INFORMATION& known) {
    return (known.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// The access time stays as it is, which the system must be asked for.
void keep_access_time(HANDLE handle) {
    const FILETIME as_it_is{0xFFFF'FFFF, 0xFFFF'FFFF};
    ::SetFileTime(handle, nullptr, &as_it_is, nullptr);
}

HANDLE open_handle(const std::wstring& name, open_mode mode) {
    const auto open_with = [&name](DWORD access, DWORD how) {
        return ::CreateFileW(name.c_str(), access, shared, nullptr, how, FILE_ATTRIBUTE_NORMAL, nullptr);
    };
    switch (mode) {
        case open_mode::read: {
            const HANDLE handle = open_with(GENERIC_READ | FILE_WRITE_ATTRIBUTES, OPEN_EXISTING);
            if (handle == INVALID_HANDLE_VALUE) return open_with(GENERIC_READ, OPEN_EXISTING);
            keep_access_time(handle);
            return handle;
        }
        case open_mode::create: {
            // What somebody holds so that it cannot be replaced is not begun with. It stays readable for those who
            // want nobody to delete it.
            const owned_handle replaced(open_with(DELETE, OPEN_EXISTING));
            if (!replaced.is_open() && ::GetLastError() == ERROR_SHARING_VIOLATION) return INVALID_HANDLE_VALUE;
            return open_with(GENERIC_READ | GENERIC_WRITE, OPEN_ALWAYS);
        }
        case open_mode::create_new:
            return open_with(GENERIC_READ | GENERIC_WRITE, CREATE_NEW);
    }
    return INVALID_HANDLE_VALUE;
}

// The system's FILE_RENAME_INFO, as headers from before its flags do not have it. The name follows the last field.
struct rename_request {
    DWORD flags;
    HANDLE folder;
    DWORD name_bytes;
};
constexpr std::size_t name_in_request = offsetof(rename_request, name_bytes) + sizeof(DWORD);
constexpr DWORD replaces_open_files = 0x3;  // what is there, and by the rules of POSIX
constexpr auto rename_by_flags = static_cast<FILE_INFO_BY_HANDLE_CLASS>(22);

// Those who have the replaced file open keep its contents, where the file system knows that.
bool replace_open_name(const std::wstring& from, const std::wstring& to) {
    const owned_handle file(
        ::CreateFileW(from.c_str(), DELETE | SYNCHRONIZE, shared, nullptr, OPEN_EXISTING, 0, nullptr));
    const std::size_t name_bytes = to.size() * sizeof(wchar_t);
    const rename_request head{replaces_open_files, nullptr, static_cast<DWORD>(name_bytes)};
    std::vector<std::byte> request(sizeof head + name_bytes + sizeof(wchar_t));  // ends in a zero
    std::memcpy(request.data(), &head, sizeof head);
    std::memcpy(request.data() + name_in_request, to.data(), name_bytes);
    const auto size = static_cast<DWORD>(request.size());
    return ::SetFileInformationByHandle(file.get(), rename_by_flags, request.data(), size) != 0;
}

// A stream of a file beside its contents: what is written there is in a file that is something else. A drive has the
// only other colon.
bool is_stream_name(const std::wstring& path) {
    constexpr std::size_t drive = 2, verbatim_drive = 6;  // characters, to their colons
    const bool verbatim = path.starts_with(L"\\\\?\\") || path.starts_with(L"\\\\.\\");
    return path.find(L':', verbatim ? verbatim_drive : drive) != path.npos;
}

// As UTF-16, so that its code page, which other programs share, stays as it is. It takes pieces, of whole characters.
bool write_to_console(HANDLE console, std::string_view bytes) {
    constexpr std::size_t most_of_console = 8192;
    while (!bytes.empty()) {
        std::size_t size = std::min(bytes.size(), most_of_console);
        for (int tail = 0; tail < 3 && size < bytes.size() && (bytes[size] & 0xC0) == 0x80; ++tail)
            --size;
        const std::wstring text = wide_text(bytes.substr(0, size));
        DWORD written = 0;
        const auto units = static_cast<DWORD>(text.size());
        if (::WriteConsoleW(console, text.data(), units, &written, nullptr) == 0 || written != units) return false;
        bytes.remove_prefix(size);
    }
    return true;
}

// What is asked of a stretch of a file: where the first data in it begin, and end.
std::optional<FILE_ALLOCATED_RANGE_BUFFER> first_range(HANDLE handle, std::uint64_t offset, std::uint64_t size) {
    FILE_ALLOCATED_RANGE_BUFFER asked{};
    asked.FileOffset.QuadPart = static_cast<LONGLONG>(offset);
    asked.Length.QuadPart = static_cast<LONGLONG>(size - offset);
    FILE_ALLOCATED_RANGE_BUFFER found{};
    DWORD bytes = 0;
    const BOOL done = ::DeviceIoControl(handle, FSCTL_QUERY_ALLOCATED_RANGES, &asked, sizeof asked, &found,
                                        sizeof found, &bytes, nullptr);
    if (done == 0 && ::GetLastError() != ERROR_MORE_DATA) {  // not known: all are data
        found = asked;
    } else if (bytes < sizeof found) {
        return std::nullopt;
    }
    return found;
}

}  // namespace

bool is_terminal(int descriptor) {
    DWORD mode = 0;
    return ::GetConsoleMode(handle_of(descriptor), &mode) != 0;
}

bool write_all(int descriptor, std::string_view bytes) {
    const HANDLE handle = handle_of(descriptor);
    if (is_terminal(descriptor)) return write_to_console(handle, bytes);
    while (!bytes.empty()) {
        DWORD written = 0;
        const auto wanted = static_cast<DWORD>(std::min(bytes.size(), most_at_once));
        if (::WriteFile(handle, bytes.data(), wanted, &written, nullptr) == 0 || written == 0) return false;
        bytes.remove_prefix(written);
    }
    return true;
}

std::int64_t read_some(int descriptor, std::span<char> buffer) {
    const HANDLE handle = handle_of(descriptor);
    DWORD arrived = 0;
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE) {
        errno = EBADF;
        return -1;
    }
    const auto wanted = static_cast<DWORD>(std::min(buffer.size(), most_at_once));
    if (::ReadFile(handle, buffer.data(), wanted, &arrived, nullptr) != 0) return arrived;
    const DWORD error = ::GetLastError();
    errno = errno_of(error);
    return error == ERROR_BROKEN_PIPE || error == ERROR_HANDLE_EOF ? 0 : -1;
}

bool is_separator(char character) {
    return character == '\\' || character == '/' || character == ':';
}

bool is_same_name(std::string_view one, std::string_view other) {
    const std::wstring first = wide_text(one), second = wide_text(other);
    return ::CompareStringOrdinal(first.data(), static_cast<int>(first.size()), second.data(),
                                  static_cast<int>(second.size()), TRUE) == CSTR_EQUAL;
}

std::optional<file_identity> identify(std::string_view path) {
    const owned_handle file(open_to_ask(trimmed_path(path)));
    if (!file.is_open()) return std::nullopt;
    const auto known = about(file.get());
    return known ? identity_of(*known) : file_identity{};  // a device has none
}

bool is_regular_file(const std::string& path) {
    const owned_handle file(open_to_ask(path));
    const auto known = about(file.get());
    return known && !is_folder(*known);
}

name_kind kind_of_name(const std::string& path) {
    const owned_handle file(open_to_ask(path, FILE_FLAG_OPEN_REPARSE_POINT));
    if (!file.is_open()) return errno_of(::GetLastError()) == ENOENT ? name_kind::nothing : name_kind::other;
    const auto known = about(file.get());
    constexpr DWORD others = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DEVICE;
    return known && (known->dwFileAttributes & others) == 0 ? name_kind::regular_file : name_kind::other;
}

std::uint64_t stored_bytes(const std::string& path) {
    DWORD high = 0;
    const DWORD low = ::GetCompressedFileSizeW(wide_path(path).c_str(), &high);
    return low == INVALID_FILE_SIZE && ::GetLastError() != NO_ERROR ? 0 : joined(high, low);
}

std::optional<file_dates> dates_of(std::string_view path) {
    const owned_handle file(open_to_ask(trimmed_path(path)));
    const auto known = about(file.get());
    if (!known) return std::nullopt;
    FILE_BASIC_INFO dates{};
    if (::GetFileInformationByHandleEx(file.get(), FileBasicInfo, &dates, sizeof dates) == 0) return std::nullopt;
    return file_dates{ticks_of(known->ftLastWriteTime), ticks_of(known->ftLastAccessTime),
                      static_cast<std::uint64_t>(dates.ChangeTime.QuadPart)};
}

bool remove_name(const std::string& path) {
    return ::DeleteFileW(wide_path(path).c_str()) != 0;
}

bool replace_name(const std::string& from, const std::string& to) {
    if (replace_open_name(wide_path(from), wide_path(to))) return true;
    return ::MoveFileExW(wide_path(from).c_str(), wide_path(to).c_str(), MOVEFILE_REPLACE_EXISTING) != 0;
}

bool name_new(const std::string& from, const std::string& to) {
    return ::MoveFileExW(wide_path(from).c_str(), wide_path(to).c_str(), 0) != 0;
}

std::optional<file_identity> stored_file(int descriptor) {
    const auto known = about(handle_of(descriptor));
    if (!known) return std::nullopt;
    return identity_of(*known);
}

bool file::open(std::string_view path, open_mode mode) {
    m_open_error = ENOENT;
    if (path.empty()) return false;
    close();
    const std::wstring name = wide_path(trimmed_path(path));
    m_open_error = EACCES;
    if (mode != open_mode::read && is_stream_name(name)) return false;
    owned_handle handle(open_handle(name, mode));
    if (!handle.is_open()) {
        m_open_error = errno_of(::GetLastError());
        const DWORD attributes = ::GetFileAttributesW(name.c_str());
        const bool folder = attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        if (folder) m_open_error = EISDIR;
        if (m_open_error == ENOENT && is_regular_file(std::string(folder_of(path)))) m_open_error = ENOTDIR;
        return false;
    }
    const DWORD type = ::GetFileType(handle.get());
    m_open_error = type == FILE_TYPE_PIPE ? ESPIPE : 0;
    if (m_open_error != 0) return false;
    m_fd = ::_open_osfhandle(reinterpret_cast<std::intptr_t>(handle.get()), _O_BINARY);
    if (m_fd == -1) {
        m_open_error = errno == EMFILE ? EMFILE : EIO;
        return false;
    }
    handle.release();
    measure_size();
    return true;
}

bool file::open_again(int descriptor) {
    close();
    owned_handle handle(::ReOpenFile(handle_of(descriptor), GENERIC_READ, shared, 0));
    if (!handle.is_open()) return false;
    m_fd = ::_open_osfhandle(reinterpret_cast<std::intptr_t>(handle.get()), _O_BINARY);
    if (m_fd == -1) return false;
    handle.release();
    measure_size();
    return true;
}

bool file::close_descriptor(int descriptor) {
    return ::_close(descriptor) == 0;
}

// What was written has been refused by then, or has arrived.
bool file::settle() const {
    return is_open();
}

file_identity file::identity() const {
    const auto known = about(handle_of(m_fd));
    return known ? identity_of(*known) : file_identity{};
}

bool file::is_regular() const {
    return is_open() && about(handle_of(m_fd)).has_value();
}

bool file::truncate() {
    const HANDLE handle = handle_of(m_fd);
    if (::SetFilePointerEx(handle, {}, nullptr, FILE_BEGIN) == 0 || ::SetEndOfFile(handle) == 0) return !is_regular();
    m_size = 0;
    return true;
}

// A byte that no file has is locked, so that what is there can be read all the same.
bool file::lock() const {
    OVERLAPPED place{};
    place.Offset = 0xFFFF'FFFE;
    place.OffsetHigh = 0x7FFF'FFFF;
    if (!is_regular()) return true;
    return ::LockFileEx(handle_of(m_fd), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place) != 0 ||
           ::GetLastError() != ERROR_LOCK_VIOLATION;
}

std::uint64_t file::measure_size() {
    LARGE_INTEGER size{};
    m_size = ::GetFileSizeEx(handle_of(m_fd), &size) != 0 ? static_cast<std::uint64_t>(size.QuadPart) : 0;
    return m_size;
}

std::int64_t file::read_piece(int descriptor, std::span<std::uint8_t> buffer, std::uint64_t offset) {
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(offset);
    place.OffsetHigh = static_cast<DWORD>(offset >> 32);
    DWORD arrived = 0;
    const auto wanted = static_cast<DWORD>(std::min(most_at_once, buffer.size()));
    if (::ReadFile(handle_of(descriptor), buffer.data(), wanted, &arrived, &place) != 0) return arrived;
    return ::GetLastError() == ERROR_HANDLE_EOF ? 0 : -1;
}

std::uint64_t file::next_data(std::uint64_t offset) const {
    if (offset >= m_size) return m_size;
    const auto range = first_range(handle_of(m_fd), offset, m_size);
    return range ? std::clamp(static_cast<std::uint64_t>(range->FileOffset.QuadPart), offset, m_size) : m_size;
}

std::uint64_t file::next_hole(std::uint64_t offset) const {
    if (offset >= m_size) return m_size;
    const auto range = first_range(handle_of(m_fd), offset, m_size);
    if (!range || static_cast<std::uint64_t>(range->FileOffset.QuadPart) > offset) return offset;
    return std::min(static_cast<std::uint64_t>(range->FileOffset.QuadPart + range->Length.QuadPart), m_size);
}

bool file::append(std::string_view bytes) {
    if (!is_open()) return false;
    if (m_attached) return write_all(m_fd, bytes);
    if (is_regular() && ::SetFilePointerEx(handle_of(m_fd), {}, nullptr, FILE_END) == 0) return false;
    const bool whole = write_all(m_fd, bytes);
    measure_size();
    return whole;
}

}  // namespace uni
