#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>

namespace kest {

// A thread that does the same work each time it is asked to, and sleeps in between. Its destructor waits for it. What
// the work wrote may be read once `wait` has returned.
class worker_thread {
public:
    // Where no thread can be had the caller of `begin` does the work.
    explicit worker_thread(std::function<void()> work) : m_work(std::move(work)) {
        try {
            m_thread = std::thread([this] { run(); });
        } catch (const std::exception&) {
        }
    }
    worker_thread(const worker_thread&) = delete;
    worker_thread& operator=(const worker_thread&) = delete;
    ~worker_thread() {
        if (!m_thread.joinable()) return;
        set(m_ending);
        m_thread.join();
    }

    // To be called when the work before has been waited for.
    void begin() {
        if (m_thread.joinable()) return set(m_due);
        work();
    }
    // Throws what the work threw.
    void wait() {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return !m_due; });
        if (m_thrown) std::rethrow_exception(std::exchange(m_thrown, nullptr));
    }

private:
    void set(bool& word) {
        {
            const std::lock_guard lock(m_mutex);
            word = true;
        }
        m_changed.notify_one();
    }
    void run() {
        for (std::unique_lock lock(m_mutex);;) {
            m_changed.wait(lock, [this] { return m_due || m_ending; });
            if (!m_due) return;
            lock.unlock();
            work();
            lock.lock();
            m_due = false;
            m_changed.notify_one();
        }
    }
    void work() {
        try {
            m_work();
        } catch (...) {
            m_thrown = std::current_exception();
        }
    }

    const std::function<void()> m_work;
    std::exception_ptr m_thrown;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_due = false;
    bool m_ending = false;
    std::thread m_thread;
};

}  // namespace kest
