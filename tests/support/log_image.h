#pragma once

// NTFS logs as they lie on disk. Offsets and values are spelled out here on their own, so that a wrong one shows as a
// difference to the program. All integers are little-endian.

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

namespace kest::disk {

using bytes = std::vector<std::uint8_t>;

// Writes an integer over the bytes at `offset`, which must be there.
template <class integer>
void put(bytes& image, std::size_t offset, integer value) {
    std::memcpy(&image.at(offset + sizeof value - 1) - (sizeof value - 1), &value, sizeof value);
}

// Writes bytes over those at `offset`; the image grows if it is too short.
inline void lay(bytes& image, std::size_t offset, const bytes& part) {
    if (part.empty()) return;
    if (image.size() < offset + part.size()) image.resize(offset + part.size());
    std::memcpy(image.data() + offset, part.data(), part.size());
}

constexpr std::size_t padded(std::size_t size) {
    return (size + 7) & ~std::size_t{7};
}

// Protects the sectors of a page or file record: the last word of each goes into the array at `array + 2` and its
// place is taken by `value`.
inline void protect_sectors(bytes& image, std::size_t array, std::uint16_t value) {
    put<std::uint16_t>(image, array, value);
    for (std::size_t sector = 0; sector < image.size() / 512; ++sector) {
        const std::size_t last_word = 512 * sector + 510;
        std::memcpy(&image.at(array + 2 + 2 * sector), &image.at(last_word), 2);
        put<std::uint16_t>(image, last_word, value);
    }
}

// A log record: 48 bytes of header, 40 of client header, redo data, undo data. Both are padded to 8 bytes.
struct record {
    std::uint64_t lsn = {};
    std::uint64_t previous = {};  // 0: head of a chain
    std::uint64_t undo_next = {};
    std::optional<std::uint32_t> data_length = {};  // as stated; without it, what the record really has
    std::uint32_t type = 1;
    std::uint32_t transaction = {};
    std::uint16_t flags = {};
    std::uint16_t redo_op = {};
    std::uint16_t undo_op = {};
    std::optional<std::uint16_t> redo_offset = {};  // as stated, from the client header; likewise the next three
    std::optional<std::uint16_t> redo_length = {};
    std::optional<std::uint16_t> undo_offset = {};
    std::optional<std::uint16_t> undo_length = {};
    std::uint16_t target_attribute = {};
    std::uint16_t lcns_to_follow = {};
    std::uint16_t record_offset = {};
    std::uint16_t attribute_offset = {};
    std::uint16_t cluster_block = {};
    std::uint16_t block_size = {};  // in sectors
    std::uint64_t vcn = {};
    std::uint64_t lcn = {};
    bytes redo = {};
    bytes undo = {};

    std::size_t size() const { return 88 + padded(redo.size()) + padded(undo.size()); }

    bytes image() const {
        const std::size_t undo_begin = 40 + padded(redo.size());
        bytes out(size());
        put<std::uint64_t>(out, 0, lsn);
        put<std::uint64_t>(out, 8, previous);
        put<std::uint64_t>(out, 16, undo_next);
        put<std::uint32_t>(out, 24, data_length.value_or(static_cast<std::uint32_t>(size() - 48)));
        put<std::uint32_t>(out, 32, type);
        put<std::uint32_t>(out, 36, transaction);
        put<std::uint16_t>(out, 40, flags);
        put<std::uint16_t>(out, 48, redo_op);
        put<std::uint16_t>(out, 50, undo_op);
        put<std::uint16_t>(out, 52, redo_offset.value_or(40));
        put<std::uint16_t>(out, 54, redo_length.value_or(static_cast<std::uint16_t>(redo.size())));
        put<std::uint16_t>(out, 56, undo_offset.value_or(static_cast<std::uint16_t>(undo_begin)));
        put<std::uint16_t>(out, 58, undo_length.value_or(static_cast<std::uint16_t>(undo.size())));
        put<std::uint16_t>(out, 60, target_attribute);
        put<std::uint16_t>(out, 62, lcns_to_follow);
        put<std::uint16_t>(out, 64, record_offset);
        put<std::uint16_t>(out, 66, attribute_offset);
        put<std::uint16_t>(out, 68, cluster_block);
        put<std::uint16_t>(out, 70, block_size);
        put<std::uint64_t>(out, 72, vcn);
        put<std::uint64_t>(out, 80, lcn);
        lay(out, 88, redo);
        lay(out, 48 + undo_begin, undo);
        return out;
    }
};

// A record page: a 64-byte header, names if it is a tail page, what continues a record of the page before, records.
// What does not fit into 4096 bytes is cut, as a page shows it.
struct record_page {
    std::uint64_t last_lsn = {};
    std::optional<std::uint64_t> last_end_lsn = {};  // without it `last_lsn`: nothing continues past the page
    std::uint16_t usa_offset = 40;
    std::uint16_t usa_count = 9;
    std::optional<std::uint16_t> next_record_offset = {};  // without it, where the data ends
    std::uint16_t sequence_value = 0x0001;
    bytes names = {};
    bytes continuation = {};
    std::vector<record> records = {};

    bytes image() const {
        bytes out(64);
        lay(out, out.size(), names);
        out.resize(padded(out.size()));
        lay(out, out.size(), continuation);
        for (const record& r : records) {
            lay(out, out.size(), r.image());
        }
        const auto end = static_cast<std::uint16_t>(std::min<std::size_t>(out.size(), 4096));
        out.resize(4096);
        std::memcpy(out.data(), "RCRD", 4);
        put<std::uint16_t>(out, 4, usa_offset);
        put<std::uint16_t>(out, 6, usa_count);
        put<std::uint64_t>(out, 8, last_lsn);
        put<std::uint32_t>(out, 16, 1);  // a record ends here
        put<std::uint16_t>(out, 20, 1);
        put<std::uint16_t>(out, 22, 1);
        put<std::uint16_t>(out, 24, next_record_offset.value_or(end));
        put<std::uint64_t>(out, 32, last_end_lsn.value_or(last_lsn));
        protect_sectors(out, 40, sequence_value);
        return out;
    }
};

// A restart page of log version 1.1: page header, restart area at 48, one client named "NTFS".
struct restart_page {
    std::uint64_t current_lsn = {};
    std::uint64_t oldest_lsn = {};
    std::uint64_t file_size = 64 * 1024;
    std::uint32_t sequence_bits = {};
    std::uint16_t sequence_value = 0x0001;

    bytes image() const {
        bytes out(4096);
        std::memcpy(out.data(), "RSTR", 4);
        put<std::uint16_t>(out, 4, 30);
        put<std::uint16_t>(out, 6, 9);
        put<std::uint32_t>(out, 16, 4096);  // system page
        put<std::uint32_t>(out, 20, 4096);  // log page
        put<std::uint16_t>(out, 24, 48);
        put<std::uint16_t>(out, 26, 1);
        put<std::uint16_t>(out, 28, 1);
        put<std::uint64_t>(out, 48, current_lsn);
        put<std::uint16_t>(out, 56, 1);       // clients
        put<std::uint16_t>(out, 58, 0xFFFF);  // none free
        put<std::uint32_t>(out, 64, sequence_bits);
        put<std::uint16_t>(out, 68, 224);  // length of the restart area
        put<std::uint16_t>(out, 70, 64);   // the client, from the restart area
        put<std::uint64_t>(out, 72, file_size);
        put<std::uint16_t>(out, 84, 48);  // record header
        put<std::uint16_t>(out, 86, 64);  // first data of a page
        put<std::uint64_t>(out, 112, oldest_lsn);
        put<std::uint64_t>(out, 120, oldest_lsn);
        put<std::uint32_t>(out, 128, 0xFFFFFFFF);  // no client before or behind it
        put<std::uint32_t>(out, 140, 8);
        lay(out, 144, {'N', 0, 'T', 0, 'F', 0, 'S', 0});
        protect_sectors(out, 30, sequence_value);
        return out;
    }
};

// One name of the table on a tail page: a value and a zero-ended UTF-16 name that begins with "$".
inline bytes tail_name(std::uint32_t value, std::string_view name) {
    bytes out(4 + 2 * name.size() + 2);
    put<std::uint32_t>(out, 0, value);
    for (std::size_t i = 0; i < name.size(); ++i) {
        out[4 + 2 * i] = static_cast<std::uint8_t>(name[i]);
    }
    return out;
}

// A log put together page by page.
class log_image {
public:
    log_image& page(const record_page& p) { return raw(p.image()); }
    log_image& restart(const restart_page& p = {}) { return raw(p.image()); }
    log_image& raw(const bytes& page) {
        lay(m_image, m_image.size(), page);
        return *this;
    }
    const bytes& image() const { return m_image; }

private:
    bytes m_image;
};

// A log written record by record, as the system fills it: the record pages from 16384 on, each record at an LSN made
// of the file offset in 8-byte units and, above it, the number of the round. Records run on over page ends; behind the
// last page the next round overwrites the first.
class log_writer {
public:
    // `size` is a power of two. Pages that are never reached keep 0xFF, as on a fresh volume.
    explicit log_writer(std::uint32_t size, std::uint64_t round = 1, std::uint32_t first_page = 16384)
        : m_image(size, 0xFF), m_round(round), m_page_offset(first_page) {
        while ((std::uint64_t{8} << m_offset_bits) < size)
            ++m_offset_bits;
        begin_page();
    }

    std::uint32_t sequence_bits() const { return 64 - m_offset_bits; }
    std::uint64_t round() const { return m_round; }

    // Gives the record its LSN, writes it and tells the LSN.
    std::uint64_t add(record r) {
        if (m_page.size() - m_position < 48) next_page();  // a header is never split
        r.lsn = (m_round << m_offset_bits) | ((m_page_offset + m_position) / 8);
        m_last_lsn = r.lsn;
        if (m_first_lsn == 0) m_first_lsn = r.lsn;
        const bytes image = r.image();
        for (std::size_t done = 0; done < image.size();) {
            if (m_position == m_page.size()) next_page();
            const std::size_t part = std::min(image.size() - done, m_page.size() - m_position);
            std::memcpy(m_page.data() + m_position, image.data() + done, part);
            m_position += part;
            done += part;
        }
        m_last_end_lsn = r.lsn;
        m_next_record = m_position;
        return r.lsn;
    }

    // The log as it stands, with both restart pages and, on the tail pages, copies of the last two record pages. A
    // tail page holds in place of its last LSN the offset of the page that it is a copy of.
    bytes image(const bytes& tail_names = {}) {
        finish_page();
        const restart_page restart{.current_lsn = m_last_lsn,
                                   .oldest_lsn = m_first_lsn,
                                   .file_size = m_image.size(),
                                   .sequence_bits = sequence_bits(),
                                   .sequence_value = 0x0002};
        lay(m_image, 0, restart.image());
        lay(m_image, 4096, restart.image());
        lay(m_image, 8192, tail_page(m_before_last, m_before_offset, tail_names));
        lay(m_image, 12288, tail_page(described_page(), m_page_offset, {}));
        return m_image;
    }

private:
    void begin_page() {
        m_page.assign(4096, 0);
        m_position = 64;
        m_next_record = 64;
        m_last_end_lsn = 0;
    }

    void finish_page() {
        bytes page = described_page();
        protect_sectors(page, 40, static_cast<std::uint16_t>(m_round));
        lay(m_image, m_page_offset, page);
    }

    // The page at hand with its header, not yet protected.
    bytes described_page() const {
        bytes page = m_page;
        std::memcpy(page.data(), "RCRD", 4);
        put<std::uint16_t>(page, 4, 40);
        put<std::uint16_t>(page, 6, 9);
        put<std::uint64_t>(page, 8, m_last_lsn);
        put<std::uint32_t>(page, 16, m_last_end_lsn != 0 ? 1 : 0);
        put<std::uint16_t>(page, 20, 1);
        put<std::uint16_t>(page, 22, 1);
        put<std::uint16_t>(page, 24, static_cast<std::uint16_t>(m_next_record));
        put<std::uint64_t>(page, 32, m_last_end_lsn);
        return page;
    }

    void next_page() {
        finish_page();
        m_before_last = described_page();
        m_before_offset = m_page_offset;
        m_page_offset += 4096;
        if (m_page_offset == m_image.size()) {
            m_page_offset = 16384;
            ++m_round;
        }
        begin_page();
    }

    bytes tail_page(const bytes& copy, std::uint32_t offset, const bytes& names) const {
        bytes page = copy.empty() ? bytes(4096) : copy;
        if (!names.empty()) {  // the table takes the place of the first records
            page.resize(64);
            lay(page, 64, names);
            page.resize(4096);
        }
        std::memcpy(page.data(), "RCRD", 4);
        put<std::uint64_t>(page, 8, offset);
        protect_sectors(page, 40, static_cast<std::uint16_t>(m_round));
        return page;
    }

    bytes m_image;
    std::uint64_t m_round;
    std::uint32_t m_page_offset;
    std::uint32_t m_offset_bits = 0;
    bytes m_page;
    std::size_t m_position = 64;
    std::size_t m_next_record = 64;
    std::uint64_t m_first_lsn = 0;
    std::uint64_t m_last_lsn = 0;
    std::uint64_t m_last_end_lsn = 0;
    bytes m_before_last;
    std::uint32_t m_before_offset = 0;
};

}  // namespace kest::disk
