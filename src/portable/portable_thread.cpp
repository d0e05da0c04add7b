#include "portable/portable_thread.h"

#include <new>
#include <utility>

namespace kest {

portable_thread::~portable_thread() {
    join();
}

void portable_thread::start(entry_function entry, void* argument) {
    wait();
    m_entry = entry;
    m_argument = argument;
    m_started = ::pthread_create(&m_handle, nullptr, run, this) == 0;
    if (!m_started) entry(argument);
}

void portable_thread::wait() {
    join();
    if (std::exchange(m_out_of_memory, false)) throw std::bad_alloc();
}

void portable_thread::join() {
    if (m_started) ::pthread_join(m_handle, nullptr);
    m_started = false;
}

// An exception that left a thread would end the process by a signal.
void* portable_thread::run(void* self) {
    auto& thread = *static_cast<portable_thread*>(self);
    try {
        thread.m_entry(thread.m_argument);
    } catch (const std::bad_alloc&) {
        thread.m_out_of_memory = true;
    }
    return nullptr;
}

}  // namespace kest
