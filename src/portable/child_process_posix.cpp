#include <algorithm>
#include <array>
#include <charconv>
#include <csignal>
#include <fcntl.h>
#include <limits>
#include <poll.h>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#include "portable/child_process.h"
#include "portable/file.h"

namespace uni {

namespace {

// What the process has mapped already when it begins.
std::uint64_t mapped_bytes() {
    file about;
    std::array<std::uint8_t, 32> text{};
    if (!about.open("/proc/self/statm", open_mode::read)) return 0;
    const std::size_t length = about.read_at(text, 0).bytes;
    std::uint64_t pages = 0;
    const std::string digits(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(length));
    std::from_chars(digits.data(), digits.data() + digits.size(), pages);
    return pages * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

void limit(__rlimit_resource resource, rlim_t most) {
    const rlimit bounds{most, most};
    static_cast<void>(::setrlimit(resource, &bounds));
}

// It reads files and maps memory; nothing else is left to it. If memory becomes short it goes first.
void confine(std::uint64_t memory) {
    file score;
    if (score.open("/proc/self/oom_score_adj", open_mode::create)) static_cast<void>(score.append("1000"));
    limit(RLIMIT_CORE, 0);
    limit(RLIMIT_FSIZE, 0);
    limit(RLIMIT_NPROC, 0);
    limit(RLIMIT_AS, mapped_bytes() + memory);
}

[[noreturn]] void run_child(int socket, std::uint64_t memory, pid_t parent,
                            const std::function<void(const process_link&)>& body) {
    constexpr int own_socket = STDERR_FILENO + 1;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(1);
    const int nothing = ::open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        ::dup2(nothing, stream);
    if (socket != own_socket) ::dup2(socket, own_socket);
    ::close_range(own_socket + 1, ~0U, 0);
    confine(memory);
    body(process_link(own_socket));
    ::_exit(0);
}

}  // namespace

process_link::~process_link() {
    if (m_socket != -1) ::close(m_socket);
}

process_link::process_link(process_link&& other) noexcept : m_socket(std::exchange(other.m_socket, -1)) {}

process_link& process_link::operator=(process_link&& other) noexcept {
    std::swap(m_socket, other.m_socket);
    return *this;
}

bool process_link::send(std::span<const std::uint8_t> bytes) const {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        if (sent <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(sent));
    }
    return true;
}

process_link::arrival process_link::receive(std::span<std::uint8_t> bytes,
                                            std::optional<std::chrono::milliseconds> patience) const {
    using clock = std::chrono::steady_clock;
    constexpr int without_limit = -1;
    const auto deadline = clock::now() + patience.value_or(std::chrono::milliseconds(0));
    while (!bytes.empty()) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - clock::now()).count();
        if (patience && left <= 0) return arrival::late;
        pollfd awaited{m_socket, POLLIN, 0};
        if (::poll(&awaited, 1, patience ? static_cast<int>(left) : without_limit) <= 0) continue;
        const ssize_t got = ::recv(m_socket, bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (got < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (got <= 0) return arrival::ended;
        bytes = bytes.subspan(static_cast<std::size_t>(got));
    }
    return arrival::whole;
}

child_process::~child_process() {
    if (m_number == -1) return;
    ::kill(m_number, SIGKILL);
    ::waitpid(m_number, nullptr, 0);
}

bool child_process::start(std::uint64_t memory, const std::function<void(const process_link&)>& body) {
    std::array<int, 2> sockets{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()) != 0) return false;
    const pid_t parent = ::getpid();
    m_link = process_link(sockets[0]);
    m_number = ::fork();
    if (m_number == 0) run_child(sockets[1], memory, parent, body);
    ::close(sockets[1]);
    return m_number != -1;
}

std::optional<int> child_process::end(bool hangs) {
    ::kill(m_number, SIGKILL);
    int status = 0;
    const bool ended = ::waitpid(m_number, &status, hangs ? WNOHANG : 0) == m_number;
    m_number = -1;
    if (!ended || hangs || !WIFSIGNALED(status)) return std::nullopt;
    return WTERMSIG(status);
}

}  // namespace uni
