#pragma once

#include <pthread.h>

namespace kest {

// A thread that is waited for. What it wrote may be read once `wait` has returned.
class portable_thread {
public:
    using entry_function = void (*)(void*);

    portable_thread() = default;
    ~portable_thread();  // waits for a body that still runs
    portable_thread(const portable_thread&) = delete;
    portable_thread& operator=(const portable_thread&) = delete;

    // Where no thread can be had the body runs in the caller, and has ended when this returns.
    void start(entry_function entry, void* argument);

    // Waits until the body has ended, if one was started. Throws std::bad_alloc if the body did. The thread can then be
    // started again.
    void wait();

private:
    static void* run(void* self);
    void join();

    entry_function m_entry = nullptr;
    void* m_argument = nullptr;
    pthread_t m_handle{};  // valid while started
    bool m_started = false;
    bool m_out_of_memory = false;  // the body ended so; written by the thread
};

}  // namespace kest
