#include <windows.h>
#include <algorithm>
#include <array>
#include <mutex>

#include "portable/ending_signals.h"
#include "portable/file.h"

namespace uni {

namespace {

std::recursive_mutex ending;  // held by what must not be broken off
std::array<std::string, most_doomed_files> doomed_paths;
bool watched = false;

// On a thread of its own. The process ends afterwards; until then nothing goes on that could make another file.
BOOL WINAPI delete_doomed(DWORD) {
    ending.lock();
    for (const std::string& path : doomed_paths) {
        if (!path.empty()) remove_name(path);
    }
    return FALSE;
}

}  // namespace

signals_held::signals_held() {
    ending.lock();
}

signals_held::~signals_held() {
    ending.unlock();
}

void delete_on_signal(const std::string& path) {
    const auto place = std::ranges::find_if(doomed_paths, &std::string::empty);
    if (place == doomed_paths.end()) return;
    *place = path;
    if (!watched) watched = ::SetConsoleCtrlHandler(delete_doomed, TRUE) != 0;
}

void keep_on_signal(const std::string& path) {
    for (std::string& known : doomed_paths) {
        if (path == known) known.clear();
    }
}

// They are nothing else here.
void ignore_failed_writes() {}

}  // namespace uni
