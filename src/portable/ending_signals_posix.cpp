#include <algorithm>
#include <array>
#include <climits>
#include <csignal>
#include <unistd.h>

#include "portable/ending_signals.h"

namespace uni {

namespace {

constexpr int ending_signals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};

// What the handler may look at: no more than bytes that stay where they are.
using doomed_path = std::array<char, PATH_MAX>;
std::array<doomed_path, most_doomed_files> doomed_paths{};

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

thread_local int times_held = 0;
thread_local sigset_t mask_before{};

}  // namespace

signals_held::signals_held() {
    if (times_held++ != 0) return;
    sigset_t ending;
    ::sigemptyset(&ending);
    for (const int number : ending_signals)
        ::sigaddset(&ending, number);
    ::pthread_sigmask(SIG_BLOCK, &ending, &mask_before);
}

signals_held::~signals_held() {
    if (--times_held == 0) ::pthread_sigmask(SIG_SETMASK, &mask_before, nullptr);
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

void ignore_failed_writes() {
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
}

}  // namespace uni
