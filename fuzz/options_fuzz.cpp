// A command line, one argument a line, through the option parser and the file filter. No argument can name a place
// outside the folder of its own in which the target runs.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <unistd.h>

#include "driver/option_parser.h"
#include "driver/path_filter.h"

namespace {

void enter_own_folder() {
    std::string folder = (std::filesystem::temp_directory_path() / "kest_XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr || chdir(folder.c_str()) != 0 || clearenv() != 0) std::abort();
    setenv("NAME", "value", 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool entered = (enter_own_folder(), true);
    if (!entered || size > 4096) return 0;
    kest::argument_list args = {"kest"};
    std::string arg;
    for (const std::uint8_t byte : std::span(data, size)) {
        const char c = static_cast<char>(byte);
        if (c == '\n') {
            args.push_back(std::exchange(arg, {}));
        } else {
            arg += c == '/' || c == '\\' || c == '\0' ? '_' : c;
        }
    }
    args.push_back(arg);
    kest::logfile_options options;
    if (kest::parse_options(options, args)) kest::path_wanted(options, args.back());
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
        std::filesystem::remove_all(entry);
    }
    return 0;
}
