#pragma once

#include <bit>

#include "support/log_image.h"

namespace kest::disk {

// A log written record by record, as the system fills it: the record pages from 16384 on, each record at an LSN made
// of the file offset in 8-byte units and, above it, the number of the round. Records run on over page ends; after the
// last page the next round overwrites the first.
class log_writer {
public:
    // `size` is a power of two. Pages that are never reached keep 0xFF, as on a fresh volume.
    explicit log_writer(u32 size, u64 round = 1, u32 first_page = 16384)
        : m_image(size, 0xFF), m_round(round), m_page(first_page - 4096) {}

    u64 round() const { return m_round; }

    // Gives the record its LSN, writes it and tells the LSN.
    u64 add(record r) {
        if (4096 - m_used < 48) next_page();  // a header is never split
        r.lsn = m_last_lsn = m_round << m_offset_bits | (m_page + m_used) / 8;
        if (m_first_lsn == 0) m_first_lsn = r.lsn;
        put(m_image, m_page + 8, r.lsn);
        for (const u8 byte : r.image()) {
            if (m_used == 4096) next_page();
            m_image[m_page + m_used++] = byte;
        }
        lay(m_image, m_page, page_header(r.lsn, true, m_used, r.lsn));
        return r.lsn;
    }

    // The log as it stands, with both restart pages and, on the tail pages, copies of the last two record pages.
    bytes image(const bytes& tail_names = {}) const {
        bytes log = m_image;
        for (u32 offset = 16384; offset < log.size(); offset += 4096) {
            if (log[offset] != 0xFF) lay(log, offset, protect(page_at(offset), m_round - (offset > m_page)));
        }
        const bytes restart = restart_page{.current_lsn = m_last_lsn,
                                           .oldest_lsn = m_first_lsn,
                                           .file_size = log.size(),
                                           .sequence_bits = 64 - m_offset_bits,
                                           .sequence_value = 0x0002}
                                  .image();
        const u32 before = m_page == 16384 ? static_cast<u32>(log.size()) - 4096 : m_page - 4096;
        lay(log, 0, pack(restart, restart, tail_page(before, tail_names), tail_page(m_page, {})));
        return log;
    }

private:
    bytes page_at(u32 offset) const { return part(m_image, offset, offset + 4096); }

    static bytes protect(bytes page, u64 round) {
        protect_sectors(page, 40, static_cast<u16>(round));
        return page;
    }

    // In place of its last LSN it holds the offset of the page that it is a copy of.
    bytes tail_page(u32 offset, const bytes& names) const {
        bytes page = page_at(offset);
        if (!names.empty()) page.resize(64);  // the table takes the place of the first records
        return protect(pack(page, at{64}, names, at{8}, u64{offset}, at{4096}), m_round);
    }

    void next_page() {
        m_page += 4096;
        if (m_page == m_image.size()) {
            m_page = 16384;
            ++m_round;
        }
        lay(m_image, m_page, pack(page_header(m_last_lsn, false, 64, 0), at{4096}));  // no record ends in it yet
        m_used = 64;
    }

    bytes m_image;  // sectors not protected
    const u32 m_offset_bits = static_cast<u32>(std::countr_zero(m_image.size() / 8));
    u64 m_round;
    u32 m_page;                 // offset of the page at hand
    std::size_t m_used = 4096;  // of it; the first record asks for the next
    u64 m_first_lsn = 0, m_last_lsn = 0;
};

}  // namespace kest::disk
