#pragma once

#include <csignal>
#include <fcntl.h>
#include <functional>
#include <sys/wait.h>
#include <unistd.h>

#include "support/made_run.h"

namespace kest::disk {

inline void put_on(int standard, const std::string& path, int flags = O_RDWR) {
    ::dup2(::open(path.c_str(), flags), standard);
}

// A run in a process of its own, which `prepare` makes ready there.
struct ended_run {
    int status;  // as the system has it; or the signal that stopped the run, negative
    std::string err;
};
inline ended_run run_prepared(
    argument_list args, const std::function<void()>& prepare = [] {}) {
    constexpr unsigned longest_run = 300;  // seconds, under sanitizers; one that waits for ever is killed
    int ends[2];
    EXPECT_EQ(::pipe(ends), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(ends[1], STDERR_FILENO);
        ::close(ends[0]);
        ::close(ends[1]);
        put_on(STDOUT_FILENO, "/dev/null");
        ::signal(SIGPIPE, SIG_DFL);
        ::alarm(longest_run);
        args.insert(args.begin(), "kest");
        prepare();
        ::_exit(run(std::move(args)) & 0xFF);
    }
    ::close(ends[1]);
    ended_run result{};
    char piece[4096];
    for (ssize_t got = 0; (got = ::read(ends[0], piece, sizeof piece)) > 0;)
        result.err.append(piece, static_cast<std::size_t>(got));
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return result;
}

}  // namespace kest::disk
