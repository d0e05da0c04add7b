#pragma once

#include <cstddef>
#include <string>

namespace uni {

// Keeps signals that end the process from the calling thread for as long as it lives.
class signals_held {
public:
    signals_held();
    ~signals_held();
    signals_held(const signals_held&) = delete;
    signals_held& operator=(const signals_held&) = delete;
};

constexpr std::size_t most_doomed_files = 4;  // at one time

// A signal that ends the process deletes this file first, until `keep_on_signal`, if they are no more. Signals
// that are ignored or handled otherwise stay so. To be called while signals are held.
void delete_on_signal(const std::string& path);
void keep_on_signal(const std::string& path);

// A report that nobody reads to its end, or that grows beyond a limit, is a failed write like any other.
void ignore_failed_writes();

}  // namespace uni
