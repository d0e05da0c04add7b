#include "portable/portable_thread.h"

#include <algorithm>
#include <unistd.h>

namespace kest {

namespace {

constexpr useconds_t first_pause = 200;
constexpr useconds_t longest_pause = 50'000;

}  // namespace

portable_thread::~portable_thread() {
    wait();
}

void portable_thread::start(entry_function entry, void* argument) {
    wait();
    m_entry = entry;
    m_argument = argument;
    // Ahead of the creation: the body may end before the call returns.
    m_started = true;
    m_running = true;
    if (::pthread_create(&m_handle, nullptr, run, this) == 0) return;
    m_started = false;
    m_running = false;
    entry(argument);
}

bool portable_thread::check_finished() {
    if (!m_started) return true;
    if (m_running) return false;
    ::pthread_join(m_handle, nullptr);  // at once: the body has ended
    m_started = false;
    return true;
}

void portable_thread::wait() {
    for (useconds_t pause = first_pause; !check_finished(); pause = std::min(2 * pause, longest_pause))
        ::usleep(pause);
}

void* portable_thread::run(void* self) {
    auto& thread = *static_cast<portable_thread*>(self);
    thread.m_entry(thread.m_argument);
    thread.m_running = false;
    return nullptr;
}

}  // namespace kest
