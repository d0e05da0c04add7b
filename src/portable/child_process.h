#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>

namespace uni {

// One end of a connection between two processes.
class process_link {
public:
    enum class arrival { whole, ended, late };

    process_link() = default;
    explicit process_link(int socket) : m_socket(socket) {}
    ~process_link();
    process_link(process_link&& other) noexcept;
    process_link& operator=(process_link&& other) noexcept;

    // False if the other end is gone.
    [[nodiscard]] bool send(std::span<const std::uint8_t> bytes) const;
    // Waits until so many bytes have arrived, or for `patience`; without one for as long as it takes.
    [[nodiscard]] arrival receive(std::span<std::uint8_t> bytes,
                                  std::optional<std::chrono::milliseconds> patience = std::nullopt) const;

private:
    int m_socket = -1;
};

// Work that may crash, hang or take all memory, and so is done in a process of its own, which may only read files and
// answer. It ends with the object, or with the run.
class child_process {
public:
    child_process() = default;
    ~child_process();
    child_process(const child_process&) = delete;
    child_process& operator=(const child_process&) = delete;

    // Runs `body` there, with `memory` bytes more than the run has mapped by now. To be called while the run has no
    // other thread. False where no such process can be had.
    [[nodiscard]] bool start(std::uint64_t memory, const std::function<void(const process_link&)>& body);

    const process_link& link() const { return m_link; }
    int number() const { return m_number; }  // -1: there is none
    // Ends it. The signal that had ended it before, if it was one; a process that hangs is not waited for.
    std::optional<int> end(bool hangs);

private:
    process_link m_link;
    int m_number = -1;
};

}  // namespace uni
