#include "images/image_stream.h"

#include <algorithm>

namespace kest {

namespace {

constexpr std::uint64_t sector = 512;  // bytes; what a failed read costs

}  // namespace

void image_stream::append(const stream_extent& extent) {
    m_extents.push_back(extent);
    m_size += extent.length;
    if (extent.holds == stream_extent::content::lost) m_lost_bytes += extent.length;
    if (extent.holds == stream_extent::content::data) m_data_bytes += extent.length;
}

// `offset` lies inside of the stream.
image_stream::extent_iterator image_stream::extent_at(std::uint64_t offset) const {
    return std::ranges::upper_bound(m_extents, offset, {}, &stream_extent::begin) - 1;
}

uni::read_result image_stream::read_at(std::span<std::uint8_t> buffer, std::uint64_t offset) const {
    uni::read_result result;
    if (offset >= m_size) return result;
    buffer = buffer.first(static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), m_size - offset)));
    for (auto extent = extent_at(offset); result.bytes < buffer.size(); ++extent) {
        const std::uint64_t inside = offset + result.bytes - extent->begin;
        const auto length =
            static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size() - result.bytes, extent->length - inside));
        const auto part = buffer.subspan(result.bytes, length);
        if (extent->holds == stream_extent::content::data) {
            read_data(part, extent->place + inside);
        } else {
            std::ranges::fill(part, std::uint8_t{0});
        }
        result.bytes += length;
    }
    return result;
}

// Where a read fails it goes on after the sector; an image that has ended has nothing more.
void image_stream::read_data(std::span<std::uint8_t> buffer, std::uint64_t place) const {
    while (!buffer.empty()) {
        const uni::read_result arrived = m_image->read_at(buffer, place);
        buffer = buffer.subspan(arrived.bytes);
        if (arrived.failed || !buffer.empty()) m_unread = true;
        if (buffer.empty()) return;
        place += arrived.bytes;
        const std::uint64_t gap = arrived.failed ? sector - place % sector : buffer.size();
        const auto skipped = static_cast<std::size_t>(std::min<std::uint64_t>(gap, buffer.size()));
        std::ranges::fill(buffer.first(skipped), std::uint8_t{0});
        buffer = buffer.subspan(skipped);
        place += skipped;
    }
}

std::uint64_t image_stream::next_data(std::uint64_t offset) const {
    if (offset >= m_size) return m_size;
    for (auto extent = extent_at(offset); extent != m_extents.end(); ++extent) {
        if (extent->holds != stream_extent::content::data) continue;
        const std::uint64_t inside = std::max(offset, extent->begin) - extent->begin;
        const std::uint64_t place = m_image->next_data(extent->place + inside);  // images have holes, too
        if (place - extent->place < extent->length) return extent->begin + (place - extent->place);
    }
    return m_size;
}

std::uint64_t image_stream::next_hole(std::uint64_t offset) const {
    if (offset >= m_size) return m_size;
    for (auto extent = extent_at(offset); extent != m_extents.end(); ++extent) {
        const std::uint64_t inside = std::max(offset, extent->begin) - extent->begin;
        if (extent->holds != stream_extent::content::data) return extent->begin + inside;
        const std::uint64_t place = m_image->next_hole(extent->place + inside);
        if (place - extent->place < extent->length) return extent->begin + (place - extent->place);
    }
    return m_size;
}

}  // namespace kest
