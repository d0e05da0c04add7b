#pragma once

#include "support/log_image.h"

namespace kest::disk {

// A log written record by record, as the system fills it: the record pages from 16384 on, each record at an LSN made
// of the file offset in 8-byte units and, above it, the number of the round. Records run on over page ends; behind the
// last page the next round overwrites the first.
class log_writer {
public:
    // `size` is a power of two. Pages that are never reached keep 0xFF, as on a fresh volume.
    explicit log_writer(u32 size, u64 round = 1, u32 first_page = 16384)
        : m_image(size, 0xFF), m_round(round), m_page_offset(first_page) {
        while ((u64{8} << m_offset_bits) < size)
            ++m_offset_bits;
    }

    u64 round() const { return m_round; }

    // Gives the record its LSN, writes it and tells the LSN.
    u64 add(record r) {
        if (4096 - m_page.size() < 48) next_page();  // a header is never split
        r.lsn = (m_round << m_offset_bits) | ((m_page_offset + m_page.size()) / 8);
        m_last_lsn = r.lsn;
        if (m_first_lsn == 0) m_first_lsn = r.lsn;
        for (const u8 byte : r.image()) {
            if (m_page.size() == 4096) next_page();
            m_page.push_back(byte);
        }
        m_last_end_lsn = r.lsn;
        m_next_record = m_page.size();
        return r.lsn;
    }

    // The log as it stands, with both restart pages and, on the tail pages, copies of the last two record pages. A
    // tail page holds in place of its last LSN the offset of the page that it is a copy of.
    bytes image(const bytes& tail_names = {}) {
        finish_page();
        const restart_page restart{.current_lsn = m_last_lsn,
                                   .oldest_lsn = m_first_lsn,
                                   .file_size = m_image.size(),
                                   .sequence_bits = 64 - m_offset_bits,
                                   .sequence_value = 0x0002};
        lay(m_image, 0, pack(restart.image(), restart.image()));
        lay(m_image, 8192, tail_page(m_before_last, m_before_offset, tail_names));
        lay(m_image, 12288, tail_page(described_page(), m_page_offset, {}));
        return m_image;
    }

private:
    void finish_page() {
        bytes page = described_page();
        protect_sectors(page, 40, static_cast<u16>(m_round));
        lay(m_image, m_page_offset, page);
    }

    // The page at hand with its header, not yet protected.
    bytes described_page() const {
        return pack(m_page, at{0}, page_header(m_last_lsn, m_last_end_lsn != 0, m_next_record, m_last_end_lsn),
                    at{4096});
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
        m_page.assign(64, 0);
        m_next_record = 64;
        m_last_end_lsn = 0;
    }

    bytes tail_page(bytes page, u32 offset, const bytes& names) const {
        if (!names.empty()) page.resize(64);  // the table takes the place of the first records
        page = pack(page, at{64}, names, at{0}, u32{0x44524352}, at{8}, u64{offset}, at{4096});
        protect_sectors(page, 40, static_cast<u16>(m_round));
        return page;
    }

    bytes m_image;
    u64 m_round;
    u32 m_page_offset;
    u32 m_offset_bits = 0;
    bytes m_page = bytes(64);
    std::size_t m_next_record = 64;
    u64 m_first_lsn = 0;
    u64 m_last_lsn = 0;
    u64 m_last_end_lsn = 0;
    bytes m_before_last;
    u32 m_before_offset = 0;
};

}  // namespace kest::disk
