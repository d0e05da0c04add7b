#include "portable/unfinished_file.h"

#include <algorithm>
#include <array>
#include <climits>
#include <unistd.h>

namespace uni {

namespace {

constexpr std::string_view name_begin = ".";
constexpr std::string_view name_end = ".kest-unfinished";
constexpr std::size_t longest_name = NAME_MAX;

constexpr int ending_signals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};

// What the handler may look at: no more than bytes that stay where they are.
using doomed_path = std::array<char, PATH_MAX>;
std::array<doomed_path, 3> doomed_paths{};

void end_by_signal(int number) {
    for (const doomed_path& path : doomed_paths) {
        if (path[0] != '\0') ::unlink(path.data());
    }
    static_cast<void>(std::signal(number, SIG_DFL));
    static_cast<void>(std::raise(number));  // arrives when the handler returns
}

void handle(int number) {
    struct sigaction known {};
    if (::sigaction(number, nullptr, &known) != 0 || (known.sa_flags & SA_SIGINFO) != 0) return;
    if (known.sa_handler != SIG_DFL) return;
    struct sigaction ours {};
    ours.sa_handler = end_by_signal;
    ::sigaction(number, &ours, nullptr);
}

}  // namespace

std::string unfinished_path(std::string_view path) {
    const std::size_t name = path.rfind('/') + 1;  // no folder: npos + 1 is 0
    std::string beside(path.substr(0, name));
    beside += name_begin;
    beside += path.substr(name, longest_name - name_begin.size() - name_end.size());
    return beside += name_end;
}

bool is_unfinished_name(std::string_view name) {
    return name.starts_with(name_begin) && name.ends_with(name_end);
}

signals_held::signals_held() {
    sigset_t ending;
    ::sigemptyset(&ending);
    for (const int number : ending_signals)
        ::sigaddset(&ending, number);
    ::pthread_sigmask(SIG_BLOCK, &ending, &m_before);
}

signals_held::~signals_held() {
    ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

void delete_on_signal(const std::string& path) {
    const auto unused = [](const doomed_path& known) { return known[0] == '\0'; };
    const auto place = std::ranges::find_if(doomed_paths, unused);
    if (place == doomed_paths.end() || path.size() >= place->size()) return;
    std::ranges::copy(path, place->begin());
    for (const int number : ending_signals)
        handle(number);
}

void keep_on_signal(const std::string& path) {
    for (doomed_path& known : doomed_paths) {
        if (path == known.data()) known.fill('\0');
    }
}

}  // namespace uni
