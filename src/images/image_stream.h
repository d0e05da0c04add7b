#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "portable/byte_source.h"

namespace kest {

// Where the bytes of a stream lie in its image.
struct stream_extent {
    enum class content : std::uint8_t {
        data,
        hole,  // reads as zeros
        lost,  // lies where the image has nothing: reads as zeros, and is missed
    };

    std::uint64_t begin = 0;   // bytes, in the stream
    std::uint64_t length = 0;  // bytes
    content holds = content::hole;
    std::uint64_t place = 0;  // of data: bytes, in the image
};

// A stream of a volume, by its extents. What of it cannot be read is given as zeros, sector by sector, so that the rest
// is found at its own offset.
class image_stream final : public uni::byte_source {
public:
    explicit image_stream(std::shared_ptr<const uni::byte_source> image) : m_image(std::move(image)) {}

    // The extents follow one another without a gap from 0 to the stream's end.
    void append(const stream_extent& extent);

    std::uint64_t size() const override { return m_size; }
    uni::read_result read_at(std::span<std::uint8_t> buffer, std::uint64_t offset) const override;
    std::uint64_t next_data(std::uint64_t offset) const override;
    std::uint64_t next_hole(std::uint64_t offset) const override;
    bool has_gaps() const override { return m_lost_bytes != 0 || m_unread; }

    std::uint64_t lost_bytes() const { return m_lost_bytes; }  // that lie nowhere in the image
    std::uint64_t data_bytes() const { return m_data_bytes; }

private:
    using extent_iterator = std::vector<stream_extent>::const_iterator;

    extent_iterator extent_at(std::uint64_t offset) const;
    void read_data(std::span<std::uint8_t> buffer, std::uint64_t place) const;

    const std::shared_ptr<const uni::byte_source> m_image;
    std::vector<stream_extent> m_extents;
    std::uint64_t m_size = 0;
    std::uint64_t m_lost_bytes = 0;
    std::uint64_t m_data_bytes = 0;
    mutable std::atomic<bool> m_unread = false;  // a read of the image failed
};

}  // namespace kest
