#pragma once

#include <exception>
#include <functional>
#include <future>

namespace kest {

// A thread that is waited for, by its destructor too. What its body wrote may be read once `wait` has returned.
class portable_thread {
public:
    // Where no thread can be had the body runs in the caller, and has ended when this returns.
    explicit portable_thread(const std::function<void()>& body) {
        try {
            m_ended = std::async(std::launch::async, body);
            return;
        } catch (const std::exception&) {
        }
        body();
    }

    // Throws what the body threw.
    void wait() {
        if (m_ended.valid()) m_ended.get();
    }

private:
    std::future<void> m_ended;
};

}  // namespace kest
