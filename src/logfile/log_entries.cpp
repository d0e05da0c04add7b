#include "logfile/log_entries.h"

#include "logfile/operation.h"

namespace kest {

namespace {

constexpr std::size_t least_room = log_entries::block_size / 2;  // bytes; less is not read into
static_assert(highest_operation <= 0xFF, "a packed entry has a byte for each operation");

}  // namespace

std::span<std::uint8_t> log_entries::room() {
    if (block_size - m_used < least_room) {
        m_page_offsets.resize((m_blocks.size() + 1) << block_bits >> 12);
        m_blocks.emplace_back(block_size);
        m_used = 0;
    }
    return m_blocks.back().bytes().subspan(m_used);
}

void log_entries::read_pages(std::span<const std::uint8_t> pages, std::uint64_t file_offset) {
    std::uint64_t* offset = m_page_offsets.data() + place_of(pages.data()) / log_page_size;
    for (std::size_t at = 0; at + log_page_size <= pages.size(); at += log_page_size)
        *offset++ = file_offset + at;
}

void log_entries::keep_pages(std::size_t bytes) {
    m_used += bytes;
}

void log_entries::release_room() {
    if (!m_blocks.empty()) uni::release_pages(m_blocks.back().bytes().subspan(m_used));
}

void log_entries::add(place begin) {
    const uni::byte_view record = page(begin - begin % log_page_size).from(begin % log_page_size);
    m_packed.push_back({begin, record.get(record_layout::redo_op), record.get(record_layout::undo_op), false});
}

void log_entries::add_joined(uni::byte_view bytes, std::uint64_t file_offset) {
    m_packed.push_back(join(bytes, file_offset));
}

void log_entries::replace_by_joined(std::size_t at, uni::byte_view bytes, std::uint64_t file_offset) {
    m_packed[at] = join(bytes, file_offset);
}

log_entries::packed_entry log_entries::join(uni::byte_view bytes, std::uint64_t file_offset) {
    m_joined_bytes.earn(bytes.size());
    m_joined.push_back({file_offset, *m_joined_bytes.keep(bytes)});
    return {m_joined.size() - 1, 0, 0, true};
}

}  // namespace kest
