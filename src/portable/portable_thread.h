#pragma once

#include <atomic>
#include <pthread.h>

namespace kest {

// A thread that is waited for by polling. What it wrote may be read once `wait` has returned.
class portable_thread {
public:
    using entry_function = void (*)(void*);

    portable_thread() = default;
    ~portable_thread();  // waits for a body that still runs
    portable_thread(const portable_thread&) = delete;
    portable_thread& operator=(const portable_thread&) = delete;

    // Where no thread can be had the body runs in the caller, and has ended when this returns.
    void start(entry_function entry, void* argument);

    // Says whether the body has ended; also true if it was never started. The thread can then be started again.
    bool check_finished();

    // Polls until the body has ended: quickly at first, so that short jobs are not held up, then every 50,000
    // microseconds.
    void wait();

private:
    static void* run(void* self);

    entry_function m_entry = nullptr;
    void* m_argument = nullptr;
    pthread_t m_handle{};  // valid while started
    bool m_started = false;
    std::atomic<bool> m_running{false};
};

}  // namespace kest
