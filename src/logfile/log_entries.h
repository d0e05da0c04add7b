#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <vector>

#include "logfile/log_entry.h"
#include "logfile/page.h"
#include "portable/kept_bytes.h"
#include "portable/large_pages.h"

namespace kest {

// The records of a log, and the bytes that they show: the pages that were read, and records that were put together over
// page ends. A record takes 8 bytes besides; a `log_entry` is made of these when it is asked for.
class log_entries {
public:
    // Where a record of a page begins: the number of a block, and an offset in it. Of one that was put together: its
    // number among these.
    using place = std::uint64_t;

    static constexpr unsigned block_bits = 22;
    static constexpr std::size_t block_size = std::size_t{1} << block_bits;  // bytes

    // The place and the operations of a record, which walks choose by.
    class packed_entry {
    public:
        packed_entry() = default;
        packed_entry(place begin, std::uint16_t redo_op, std::uint16_t undo_op, bool spanned)
            : m_bits(begin << 17 | std::uint64_t{redo_op} << 9 | std::uint64_t{undo_op} << 1 | std::uint64_t{spanned}) {
        }

        place begin() const { return m_bits >> 17; }
        std::uint16_t redo_op() const { return m_bits >> 9 & 0xFF; }
        std::uint16_t undo_op() const { return m_bits >> 1 & 0xFF; }
        bool spanned() const { return (m_bits & 1) != 0; }

    private:
        std::uint64_t m_bits = 0;
    };

    class iterator {
    public:
        using value_type = log_entry;
        using difference_type = std::ptrdiff_t;
        using reference = log_entry;
        using pointer = void;
        using iterator_category = std::input_iterator_tag;

        iterator() = default;
        iterator(const log_entries& entries, std::size_t at) : m_entries(&entries), m_at(at) {}

        log_entry operator*() const { return (*m_entries)[m_at]; }
        iterator& operator++() {
            ++m_at;
            return *this;
        }
        iterator operator++(int) {
            iterator before = *this;
            ++m_at;
            return before;
        }
        bool operator==(const iterator&) const = default;

    private:
        const log_entries* m_entries = nullptr;
        std::size_t m_at = 0;
    };

    std::size_t size() const { return m_packed.size(); }
    bool empty() const { return m_packed.empty(); }
    iterator begin() const { return {*this, 0}; }
    iterator end() const { return {*this, size()}; }

    log_entry back() const { return entry_of(m_packed.back()); }
    log_entry operator[](std::size_t at) const { return entry_of(m_packed[at]); }
    log_entry entry_of(packed_entry packed) const {
        if (packed.spanned()) {
            const joined_record& joined = m_joined[packed.begin()];
            return {joined.bytes, joined.file_offset, true};
        }
        const place begin = packed.begin();
        const std::size_t in_page = begin % log_page_size;
        return {packed.redo_op(), packed.undo_op(), std::span(address_of(begin), log_page_size - in_page),
                m_page_offsets[begin / log_page_size] + in_page};
    }
    // Of a record's first byte, for whoever asks for it before it is read.
    const std::uint8_t* address(std::size_t at) const {
        const packed_entry packed = m_packed[at];
        return packed.spanned() ? m_joined[packed.begin()].bytes.bytes().data() : address_of(packed.begin());
    }

    // Where to read the next pages of the log to. What was kept of it before stays.
    std::span<std::uint8_t> room();
    // `pages` stand at the begin of the room; their first byte is at `file_offset`. They are overwritten by what is
    // read next unless they are kept.
    void read_pages(std::span<const std::uint8_t> pages, std::uint64_t file_offset);
    void keep_pages(std::size_t bytes);
    // Of bytes in the pages that were read last.
    place place_of(const std::uint8_t* byte) const {
        return (m_blocks.size() - 1) << block_bits | static_cast<place>(byte - m_blocks.back().bytes().data());
    }
    uni::byte_view page(place begin) const { return std::span(address_of(begin), log_page_size); }
    // Gives back what was not read to.
    void release_room();

    void reserve(std::size_t count) { uni::try_reserve(m_packed, count); }
    // A record that lies in one page and whose operations are valid.
    void add(place begin);
    // Any other. Its bytes are copied.
    void add_joined(uni::byte_view bytes, std::uint64_t file_offset);
    void replace_by_joined(std::size_t at, uni::byte_view bytes, std::uint64_t file_offset);

    // To be put in another order, or cut.
    std::span<packed_entry> packed() { return m_packed; }
    std::span<const packed_entry> packed() const { return m_packed; }
    // Asks `leaves_out(entry)` of each in turn.
    template <class predicate>
    void erase_if(predicate&& leaves_out) {
        std::erase_if(m_packed, [&](const packed_entry& one) { return leaves_out(entry_of(one)); });
    }

private:
    struct joined_record {
        std::uint64_t file_offset;
        uni::byte_view bytes;
    };

    const std::uint8_t* address_of(place begin) const {
        return m_blocks[begin >> block_bits].bytes().data() + begin % block_size;
    }
    packed_entry join(uni::byte_view bytes, std::uint64_t file_offset);

    uni::large_vector<packed_entry> m_packed;
    std::vector<uni::byte_block> m_blocks;      // of `block_size` each
    std::size_t m_used = block_size;            // bytes of the last one
    std::vector<std::uint64_t> m_page_offsets;  // in the file, of each page of the blocks
    std::vector<joined_record> m_joined;
    uni::kept_bytes m_joined_bytes;
};

}  // namespace kest
