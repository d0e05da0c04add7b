#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "images/container.h"
#include "portable/byte_source.h"
#include "portable/child_process.h"

namespace kest {

// An image in a container: E01, VMDK, VHD, AFF, or raw in several files. A library reads it, in a process of its own,
// as such libraries are not made for containers that were damaged or made to do harm: if it crashes, takes too much
// memory or does not answer, then that ends the image and not the run. The process ends with the object, or with the
// run.
class image_process final : public uni::byte_source {
public:
    // A reader, or why there is none. Called while the run has no other thread.
    struct opened {
        std::shared_ptr<image_process> image;  // or null
        std::string error;                     // words
    };
    static opened open(const std::string& path, image_form form);

    std::uint64_t size() const override { return m_size; }
    // Where all bytes arrive and it failed, the container is damaged there, and some of them are zeros instead.
    uni::read_result read_at(std::span<std::uint8_t> buffer, std::uint64_t offset) const override;
    // Containers do not say where their holes are.
    std::uint64_t next_data(std::uint64_t offset) const override { return std::min(offset, m_size); }
    std::uint64_t next_hole(std::uint64_t) const override { return m_size; }

    // The files that the image is made of, as far as the library names them.
    const std::vector<std::string>& files() const { return m_files; }
    // Why the process has ended though it should not have; empty while it answers.
    std::string failure() const;

    int process() const { return m_process.number(); }
    void set_patience(std::chrono::milliseconds patience) { m_patience = patience; }

private:
    using arrival = uni::process_link::arrival;

    image_process() = default;
    struct reply;

    bool start(const std::string& path, image_form form);
    reply ask(std::uint64_t offset, std::uint32_t length, std::span<std::uint8_t> payload,
              std::chrono::milliseconds patience) const;
    void give_up(arrival came) const;

    mutable uni::child_process m_process;
    std::chrono::milliseconds m_patience{60'000};  // for one answer
    std::uint64_t m_size = 0;
    std::vector<std::string> m_files;
    mutable std::mutex m_asking;
    mutable std::string m_failure;
};

}  // namespace kest
