#pragma once

#include <vector>

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
inline captured_run run_captured(const std::vector<std::string>& args, const std::string& input = "/dev/null") {
    const scratch_folder folder;
    const std::string out = folder.put("out");
    const std::string err = folder.put("err");
    std::vector<const char*> argv{"kest"};
    for (const std::string& argument : args)
        argv.push_back(argument.c_str());

    const int streams[] = {::open(input.c_str(), O_RDONLY), ::open(out.c_str(), O_WRONLY),
                           ::open(err.c_str(), O_WRONLY)};
    captured_run result{};
    {
        const redirected in_stream(STDIN_FILENO, streams[0]);
        const redirected out_stream(STDOUT_FILENO, streams[1]);
        const redirected err_stream(STDERR_FILENO, streams[2]);
        result.status = run(static_cast<int>(argv.size()), argv.data());
    }
    for (const int stream : streams)
        ::close(stream);
    result.out = contents_of(out);
    result.err = contents_of(err);
    return result;
}

}  // namespace kest::disk
