#pragma once

#include <csignal>
#include <functional>
#include <sstream>
#include <sys/wait.h>
#include <utility>

#include "driver/run.h"
#include "support/memory_file.h"
#include "support/mft_image.h"
#include "support/scratch_folder.h"
#include "support/usn_image.h"

namespace kest::disk {

// One run of the program in this process, and what it said.
struct captured_run {
    int status;
    std::string out;
    std::string err;
};

// `args` come behind the program's name. The standard input is the file `input`, which does not wait if it is a pipe.
inline captured_run run_captured(argument_list args, const std::string& input = "/dev/null") {
    args.insert(args.begin(), "kest");
    const scratch_folder folder;
    const std::string out = folder.put("out");
    const std::string err = folder.put("err");
    const int streams[] = {::open(input.c_str(), O_RDONLY | O_NONBLOCK), ::open(out.c_str(), O_WRONLY),
                           ::open(err.c_str(), O_WRONLY)};
    captured_run result{};
    {
        const redirected in_stream(STDIN_FILENO, streams[0]);
        const redirected out_stream(STDOUT_FILENO, streams[1]);
        const redirected err_stream(STDERR_FILENO, streams[2]);
        result.status = run(std::move(args));
    }
    for (const int stream : streams)
        ::close(stream);
    result.out = contents_of(out);
    result.err = contents_of(err);
    return result;
}

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
    constexpr unsigned longest_run = 60;  // seconds, under sanitizers; one that waits for ever is killed
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

// The rows of a report behind the header line, in cells. Line ends and separators in evidence are not what they were.
using row_cells = std::vector<std::string>;
enum cell {
    time_cell,
    ref_cell,
    action_cell,
    lsn_cell,
    level_cell,
    pattern_cell,
    operation_cell,
    lcn_cell,
    inode_cell,
    sequence_cell,
    parent_cell,
    parent_sequence_cell,
    path_cell,
    details_cell
};

// Runs over evidence from memory; what is empty is left out, a log excepted.
inline std::vector<row_cells> rows_of(const bytes& log, const bytes& mft = {}, const bytes& journal = {},
                                      const argument_list& more = {}) {
    const memory_file log_file(log), mft_file(mft), journal_file(journal);
    argument_list args = {"-quiet", "-no_whitespace", "-log", log_file.path()};
    if (!mft.empty()) args.insert(args.end(), {"-mftfile", mft_file.path()});
    if (!journal.empty()) args.insert(args.end(), {"-jrnlfile", journal_file.path()});
    args.insert(args.end(), more.begin(), more.end());
    const captured_run ran = run_captured(args);
    EXPECT_EQ(ran.status, 0) << ran.err;  // what expects no rows expects a run that succeeds
    std::istringstream report(ran.out);
    std::vector<row_cells> rows;
    std::string line;
    for (int lines = 0; std::getline(report, line); ++lines) {
        std::istringstream cut(line + "|");
        row_cells cells;
        for (std::string text; std::getline(cut, text, '|');)
            cells.push_back(text);
        if (lines >= 4) rows.push_back(cells);
        EXPECT_TRUE(lines < 3 || cells.size() == 14) << line;
    }
    return rows;
}

}  // namespace kest::disk
