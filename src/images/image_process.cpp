#include "images/image_process.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "format/error_words.h"
#include "format/number.h"
#include "images/image_server.h"
#include "portable/byte_view.h"
#include "portable/file.h"

namespace kest {

namespace {

constexpr int patience_to_open = 300'000;  // milliseconds; the tables of many files may have to be read

// Address space for the library. Tables of a large container take some of it.
constexpr rlim_t memory_to_start = rlim_t{1} << 32;
constexpr rlim_t file_bytes_for_a_byte = 16;

// What the process has mapped already when it begins.
std::uint64_t mapped_bytes() {
    uni::file file;
    std::array<std::uint8_t, 32> text{};
    if (!file.open("/proc/self/statm", uni::open_mode::read)) return 0;
    const std::size_t length = file.read_at(text, 0).bytes;
    std::uint64_t pages = 0;
    const std::string digits(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(length));
    std::from_chars(digits.data(), digits.data() + digits.size(), pages);
    return pages * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

void limit(__rlimit_resource resource, rlim_t most) {
    const rlimit bounds{most, most};
    static_cast<void>(::setrlimit(resource, &bounds));
}

// The library reads files and maps memory; nothing else is left to it. If memory becomes short it goes first.
void confine(std::uint64_t file_size) {
    uni::file score;
    if (score.open("/proc/self/oom_score_adj", uni::open_mode::create)) static_cast<void>(score.append("1000"));
    limit(RLIMIT_CORE, 0);
    limit(RLIMIT_FSIZE, 0);
    limit(RLIMIT_NPROC, 0);
    limit(RLIMIT_AS, mapped_bytes() + memory_to_start + file_size / file_bytes_for_a_byte);
}

[[noreturn]] void run_library(int socket, const std::string& path, image_form form, std::uint64_t file_size,
                              pid_t parent) {
    constexpr int own_socket = STDERR_FILENO + 1;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(1);
    const int nothing = ::open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        ::dup2(nothing, stream);
    if (socket != own_socket) ::dup2(socket, own_socket);
    ::close_range(own_socket + 1, ~0U, 0);
    confine(file_size);
    serve_image(own_socket, path, form);
    ::_exit(0);
}

using clock = std::chrono::steady_clock;
using arrival = image_process::arrival;

arrival receive(int socket, std::span<std::uint8_t> bytes, clock::time_point deadline) {
    while (!bytes.empty()) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - clock::now()).count();
        if (left <= 0) return arrival::late;
        pollfd awaited{socket, POLLIN, 0};
        if (::poll(&awaited, 1, static_cast<int>(left)) <= 0) continue;
        const ssize_t got = ::recv(socket, bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (got < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (got <= 0) return arrival::ended;
        bytes = bytes.subspan(static_cast<std::size_t>(got));
    }
    return arrival::whole;
}

}  // namespace

struct image_process::reply {
    std::uint32_t status = image_protocol::failed;
    std::uint64_t size = 0;
    std::size_t bytes = 0;  // that arrived after the header
};

image_process::~image_process() {
    if (m_socket != -1) ::close(m_socket);
    if (m_process == -1) return;
    ::kill(m_process, SIGKILL);
    ::waitpid(m_process, nullptr, 0);
}

image_process::opened image_process::open(const std::string& path, image_form form) {
    if (!has_library(form)) return {nullptr, std::string("built without ").append(library_of(form))};
    const std::shared_ptr<image_process> image(new image_process);
    if (!image->start(path, form)) return {nullptr, "no process for its library"};
    std::vector<std::uint8_t> payload(image_protocol::longest);
    const reply first = image->ask(0, 0, payload, patience_to_open);
    if (!image->m_failure.empty()) return {nullptr, image->m_failure};
    std::string text(payload.begin(), payload.begin() + static_cast<std::ptrdiff_t>(first.bytes));
    if (first.status != image_protocol::sound) return {nullptr, text};
    image->m_size = first.size;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\0', at), text.size());
        image->m_files.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return {image, {}};
}

bool image_process::start(const std::string& path, image_form form) {
    uni::file file;
    if (!file.open(path, uni::open_mode::read)) return false;
    std::array<int, 2> sockets{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()) != 0) return false;
    const pid_t parent = ::getpid();
    m_socket = sockets[0];
    m_process = ::fork();
    if (m_process == 0) run_library(sockets[1], path, form, file.size(), parent);
    ::close(sockets[1]);
    return m_process != -1;
}

// Without a length it waits for the reply that comes by itself.
image_process::reply image_process::ask(std::uint64_t offset, std::uint32_t length, std::span<std::uint8_t> payload,
                                        int patience) const {
    const std::lock_guard lock(m_asking);
    reply got;
    if (!m_failure.empty()) return got;
    std::array<std::uint8_t, image_protocol::request_size> request{};
    std::memcpy(request.data(), &offset, sizeof offset);
    std::memcpy(request.data() + 8, &length, sizeof length);
    if (length != 0 &&
        ::send(m_socket, request.data(), request.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(request.size())) {
        give_up(arrival::ended);
        return got;
    }
    const auto deadline = clock::now() + std::chrono::milliseconds(patience);
    std::array<std::uint8_t, image_protocol::header_size> header{};
    arrival came = receive(m_socket, header, deadline);
    const uni::byte_view view = std::span<const std::uint8_t>(header);
    const std::uint32_t bytes = view.u32(4);
    if (came == arrival::whole && bytes > payload.size()) came = arrival::ended;
    if (came == arrival::whole) came = receive(m_socket, payload.first(bytes), deadline);
    if (came != arrival::whole) {
        give_up(came);
        return got;
    }
    return {view.u32(0), view.u64(8), bytes};
}

void image_process::give_up(arrival came) const {
    ::kill(m_process, SIGKILL);
    m_failure = came == arrival::late ? "the library that reads it does not answer" : "the library that reads it ended";
    int status = 0;
    // One that hangs may not end before the device answers.
    const bool ended = ::waitpid(m_process, &status, came == arrival::late ? WNOHANG : 0) == m_process;
    if (ended && came == arrival::ended && WIFSIGNALED(status)) {
        m_failure += ": signal ";
        append_decimal(m_failure, WTERMSIG(status));
    }
    m_process = -1;
}

uni::read_result image_process::read_at(std::span<std::uint8_t> buffer, std::uint64_t offset) const {
    uni::read_result result;
    if (offset >= m_size) return result;
    buffer = buffer.first(static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), m_size - offset)));
    for (bool goes_on = true; goes_on && result.bytes < buffer.size();) {
        const auto wanted =
            static_cast<std::uint32_t>(std::min<std::size_t>(buffer.size() - result.bytes, image_protocol::longest));
        const reply got = ask(offset + result.bytes, wanted, buffer.subspan(result.bytes, wanted), m_patience);
        result.bytes += got.bytes;
        goes_on = got.bytes == wanted;
        result.failed = result.failed || !goes_on || got.status == image_protocol::damaged;
    }
    return result;
}

std::string image_process::failure() const {
    const std::lock_guard lock(m_asking);
    return m_failure;
}

}  // namespace kest
