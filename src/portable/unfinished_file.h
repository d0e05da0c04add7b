#pragma once

#include <csignal>
#include <string>
#include <string_view>

namespace uni {

// A file that is not whole yet stands under a name of its own, in the same folder as the one that it is to have.

// The name for a path without trailing "/": hidden, and with an ending that no pattern for reports or logs has. It is
// always the same, so that two runs meet there, and what a killed one left is found.
std::string unfinished_path(std::string_view path);

// Says whether a name, without its folder, is such a name.
bool is_unfinished_name(std::string_view name);

// Keeps signals that end the process from the calling thread for as long as it lives.
class signals_held {
public:
    signals_held();
    ~signals_held();
    signals_held(const signals_held&) = delete;
    signals_held& operator=(const signals_held&) = delete;

private:
    sigset_t m_before{};
};

// A signal that ends the process deletes this file first, until `keep_on_signal`; a run has few such files. Signals
// that are ignored or handled otherwise stay so. To be called while signals are held.
void delete_on_signal(const std::string& path);
void keep_on_signal(const std::string& path);

}  // namespace uni
