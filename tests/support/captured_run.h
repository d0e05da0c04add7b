#pragma once

#include <utility>

#include "driver/run.h"
#include "support/scratch_folder.h"

namespace kest::disk {

// One run of the program in this process, and what it said.
struct captured_run {
    int status;
    std::string out;
    std::string err;
};

// `args` come behind the program's name. The standard input is the file `input`.
inline captured_run run_captured(argument_list args, const std::string& input = "/dev/null") {
    args.insert(args.begin(), "kest");
    const scratch_folder folder;
    const std::string out = folder.put("out");
    const std::string err = folder.put("err");
    const int streams[] = {::open(input.c_str(), O_RDONLY), ::open(out.c_str(), O_WRONLY),
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

}  // namespace kest::disk
