#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "portable/file.h"
#include "portable/posix_file.h"

namespace uni {

namespace {

// Says whether a call that failed with `errno` is to be made again, and waits until that makes sense. A descriptor
// may be non-blocking because another process that shares it wants it so.
bool try_again(int descriptor, short events) {
    if (errno == EINTR) return true;
    if (errno != EAGAIN && errno != EWOULDBLOCK) return false;
    pollfd awaited{descriptor, events, 0};
    constexpr int without_limit = -1;
    return ::poll(&awaited, 1, without_limit) > 0 || errno == EINTR;
}

}  // namespace

bool is_terminal(int descriptor) {
    return ::isatty(descriptor) != 0;
}

bool write_all(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (written == 0 || !try_again(descriptor, POLLOUT)) {
            return false;
        }
    }
    return true;
}

std::int64_t read_some(int descriptor, std::span<char> buffer) {
    for (;;) {
        const ssize_t arrived = ::read(descriptor, buffer.data(), buffer.size());
        if (arrived >= 0 || !try_again(descriptor, POLLIN)) return arrived;
    }
}

namespace {

// One read stays well inside what the system call takes at once.
constexpr std::size_t read_chunk = 268'435'456;

// Kept: a file whose path begins so and that states no size has this one, so that those that the system makes up while
// they are read can be read too.
constexpr std::string_view process_files = "/proc";
constexpr std::uint64_t process_file_size = 262'144;

constexpr mode_t created_mode = 0666;  // as far as the umask allows

int flags_of(open_mode mode) {
    switch (mode) {
        case open_mode::read:
            return O_RDONLY;
        case open_mode::create:
            return O_RDWR | O_CREAT;
        case open_mode::create_new:
            return O_RDWR | O_CREAT | O_EXCL;
    }
    return O_RDONLY;
}

// Keeps off the numbers of the standard streams: where one of them is closed, what is said on it must not end up
// in a file of the run.
int off_standard_numbers(int descriptor) {
    if (descriptor == -1 || descriptor > STDERR_FILENO) return descriptor;
    const int moved = ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    ::close(descriptor);
    return moved;
}

// What speaks against a file that bytes are read from and written to at offsets; 0 if nothing does.
int lack_of_offsets(int descriptor) {
    struct stat about {};
    if (::fstat(descriptor, &about) != 0) return errno;
    if (S_ISDIR(about.st_mode)) return EISDIR;
    return S_ISFIFO(about.st_mode) || S_ISSOCK(about.st_mode) ? ESPIPE : 0;
}

constexpr std::uint64_t ticks_per_second = 10'000'000;
constexpr std::uint64_t unix_epoch = 116'444'736'000'000'000;  // ticks

// Modulo 2^64, so that a time before 1970 comes out right too.
std::uint64_t ticks_of(const timespec& time) {
    return static_cast<std::uint64_t>(time.tv_sec) * ticks_per_second + static_cast<std::uint64_t>(time.tv_nsec) / 100 +
           unix_epoch;
}

}  // namespace

int open_untouched(const char* path, int flags) {
    const int descriptor = ::open(path, flags | O_NOATIME);
    return descriptor == -1 && errno == EPERM ? ::open(path, flags) : descriptor;
}

bool is_separator(char character) {
    return character == '/';
}

bool is_same_name(std::string_view one, std::string_view other) {
    return one == other;
}

std::optional<file_identity> identify(std::string_view path) {
    struct stat about {};
    if (::stat(std::string(trimmed_path(path)).c_str(), &about) != 0) return std::nullopt;
    return file_identity{about.st_dev, about.st_ino};
}

bool is_regular_file(const std::string& path) {
    struct stat about {};
    return ::stat(path.c_str(), &about) == 0 && S_ISREG(about.st_mode);
}

name_kind kind_of_name(const std::string& path) {
    struct stat about {};
    if (::lstat(path.c_str(), &about) != 0) return errno == ENOENT ? name_kind::nothing : name_kind::other;
    return S_ISREG(about.st_mode) ? name_kind::regular_file : name_kind::other;
}

std::uint64_t stored_bytes(const std::string& path) {
    constexpr std::uint64_t block = 512;
    struct stat about {};
    return ::stat(path.c_str(), &about) == 0 ? static_cast<std::uint64_t>(about.st_blocks) * block : 0;
}

std::optional<file_dates> dates_of(std::string_view path) {
    struct stat about {};
    if (::stat(std::string(trimmed_path(path)).c_str(), &about) != 0) return std::nullopt;
    return file_dates{ticks_of(about.st_mtim), ticks_of(about.st_atim), ticks_of(about.st_ctim)};
}

bool remove_name(const std::string& path) {
    return ::unlink(path.c_str()) == 0;
}

bool replace_name(const std::string& from, const std::string& to) {
    return std::rename(from.c_str(), to.c_str()) == 0;
}

// Some file systems cannot do so without replacing: there the look at the name just before has to do.
bool name_new(const std::string& from, const std::string& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
    return errno == EINVAL && kind_of_name(to) == name_kind::nothing && replace_name(from, to);
}

std::optional<file_identity> stored_file(int descriptor) {
    struct stat about {};
    if (::fstat(descriptor, &about) != 0 || !(S_ISREG(about.st_mode) || S_ISBLK(about.st_mode))) return std::nullopt;
    return file_identity{about.st_dev, about.st_ino};
}

bool file::open(std::string_view path, open_mode mode) {
    m_open_error = ENOENT;
    if (path.empty()) return false;
    close();
    const std::string name(trimmed_path(path));
    // Opening must not wait for a FIFO's other end.
    const int flags = flags_of(mode) | O_NONBLOCK | O_CLOEXEC;
    m_fd = off_standard_numbers(mode == open_mode::read ? open_untouched(name.c_str(), flags)
                                                        : ::open(name.c_str(), flags, created_mode));
    m_open_error = m_fd == -1 ? errno : lack_of_offsets(m_fd);
    if (m_open_error != 0) {
        close();
        return false;
    }
    m_of_process = name.starts_with(process_files);
    errno = 0;
    if (measure_size() == 0 && errno != 0 && is_regular()) {  // not known to be empty
        m_open_error = errno;
        close();
    }
    return is_open();
}

bool file::open_again(int descriptor) {
    return open("/dev/fd/" + std::to_string(descriptor), open_mode::read);
}

// An interrupted close has closed all the same.
bool file::close_descriptor(int descriptor) {
    return ::close(descriptor) == 0 || errno == EINTR;
}

// Some systems report only when a file is closed that what was written did not arrive: so a copy is closed.
bool file::settle() const {
    const int copy = ::fcntl(m_fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    return copy != -1 && close_descriptor(copy);
}

file_identity file::identity() const {
    struct stat about {};
    if (::fstat(m_fd, &about) != 0) return {};
    return {about.st_dev, about.st_ino};
}

bool file::is_regular() const {
    struct stat about {};
    return ::fstat(m_fd, &about) == 0 && S_ISREG(about.st_mode);
}

bool file::truncate() {
    if (::ftruncate(m_fd, 0) != 0) return !is_regular();
    m_size = 0;
    return true;
}

bool file::lock() const {
    return !is_regular() || ::flock(m_fd, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

std::uint64_t file::measure_size() {
    errno = 0;
    const off_t end = ::lseek(m_fd, 0, SEEK_END);
    if (end > 0) {
        m_size = static_cast<std::uint64_t>(end);
    } else {
        m_size = m_of_process && errno == EINVAL ? process_file_size : 0;
    }
    return m_size;
}

std::int64_t file::read_piece(int descriptor, std::span<std::uint8_t> buffer, std::uint64_t offset) {
    for (;;) {
        const ssize_t arrived =
            ::pread(descriptor, buffer.data(), std::min(read_chunk, buffer.size()), static_cast<off_t>(offset));
        if (arrived >= 0 || errno != EINTR) return arrived;
    }
}

std::uint64_t file::next_data(std::uint64_t offset) const {
    if (offset >= m_size) return m_size;
    const off_t data = ::lseek(m_fd, static_cast<off_t>(offset), SEEK_DATA);
    if (data >= 0) return std::min(static_cast<std::uint64_t>(data), m_size);
    return errno == ENXIO ? m_size : offset;
}

std::uint64_t file::next_hole(std::uint64_t offset) const {
    if (offset >= m_size) return m_size;
    const off_t hole = ::lseek(m_fd, static_cast<off_t>(offset), SEEK_HOLE);
    return hole >= 0 ? std::min(static_cast<std::uint64_t>(hole), m_size) : m_size;
}

bool file::append(std::string_view bytes) {
    if (!is_open()) return false;
    if (m_attached) return write_all(m_fd, bytes);
    if (::lseek(m_fd, 0, SEEK_END) == -1 && errno != ESPIPE) return false;  // a terminal has no end to go to
    const bool whole = write_all(m_fd, bytes);
    measure_size();
    return whole;
}

}  // namespace uni
