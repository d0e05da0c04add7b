#pragma once

#include <optional>
#include <utility>

#include "support/byte_builder.h"

namespace kest::disk {

// A log turned on: every page stands some pages further on in the ring, as if the log had begun with that many more
// records, so that another page is the last of the ring. With the pages go their headers, the LSNs of records and the
// links between these, tail pages, restart pages, and the LSNs in a client's restart records and in file records.
class turned_log {
public:
    turned_log(bytes log, u64 pages) : m_log(std::move(log)), m_pages(pages) {
        const std::size_t area = m_log.at(0) == 'R' ? get<u16>(24) : 4096 + get<u16>(4096 + 24);
        m_place_bits = 64 - get<u32>(area + 16);
        m_end = std::min<u64>(get<u64>(area + 24), m_log.size()) / 4096 * 4096;
        for (std::size_t page = 0; page < m_end; page += 4096)
            restore_sectors(page);
        m_plain = m_log;
        find_homes();
        for (const auto& [page, home] : m_homes)
            turn_records(page, home);
        for (std::size_t page = 0; page < m_end; page += 4096)
            turn_header(page);
        for (const auto& [page, words] : m_sector_ends)
            protect_again(page, words);
        const auto ring = [this](u64 page) { return m_log.begin() + static_cast<std::ptrdiff_t>(page); };
        const u64 moved = m_pages * 4096 % (m_end - m_first);
        std::rotate(ring(m_first), ring(m_end - moved), ring(m_end));
    }

    const bytes& image() const { return m_log; }

    // What an LSN of the log is now.
    u64 lsn(u64 old) const {
        const u64 place = place_of(old);
        if (place < m_first || place >= m_end) return old;  // no record is there
        const u64 pages = (m_end - m_first) / 4096, page = (place - m_first) / 4096 + m_pages;
        return ((old >> m_place_bits) + page / pages) << m_place_bits |
               (m_first + page % pages * 4096 + place % 4096) / 8;
    }

    // The same MFT with the turned log's LSNs.
    bytes mft(bytes records) const {
        for (std::size_t record = 0; record + 1024 <= records.size(); record += 512) {
            if (is_file_record(records, record)) put(records, record + 8, lsn(get<u64>(records, record + 8)));
        }
        return records;
    }

private:
    template <class integer>
    static integer get(const bytes& image, std::size_t offset) {
        integer value = 0;
        if (offset + sizeof value <= image.size()) std::memcpy(&value, &image[offset], sizeof value);
        return value;
    }
    template <class integer>
    integer get(std::size_t offset) const {
        return get<integer>(m_log, offset);
    }
    static bool is_file_record(const bytes& image, std::size_t offset) { return get<u32>(image, offset) == 0x454C4946; }

    u64 place_of(u64 old) const { return (old & ((u64{1} << m_place_bits) - 1)) * 8; }
    void turn(std::size_t offset) { put(m_log, offset, lsn(get<u64>(m_plain, offset))); }

    // What the sectors of a page end with goes into the array, and is kept to be put back: torn pages stay torn.
    void restore_sectors(std::size_t page) {
        if (get<u32>(page) != 0x52545352 && get<u32>(page) != 0x44524352) return;
        const std::size_t array = page + get<u16>(page + 4);
        std::vector<u16> words;
        for (std::size_t end = page + 510; end < page + 4096; end += 512) {
            words.push_back(get<u16>(end));
            put(m_log, end, get<u16>(array + 2 * words.size()));
        }
        m_sector_ends.emplace_back(page, words);
    }
    void protect_again(std::size_t page, const std::vector<u16>& words) {
        std::size_t array = page + get<u16>(page + 4);
        for (std::size_t end = page + 510; const u16 word : words) {
            put(m_log, array += 2, get<u16>(end));
            put(m_log, end, word);
            end += 512;
        }
    }

    // A record may begin at `at` if the LSN there has this place in a page.
    bool is_record(std::size_t at) const {
        const u32 type = get<u32>(at + 32);
        return place_of(get<u64>(at)) % 4096 == at % 4096 && (type == 1 || type == 2) && get<u32>(at + 24) < 0x100000;
    }

    // Each record page, and where in the log it belongs: its own place, or another for one of the tail pages, of which
    // there are 2, or 32 in later logs.
    void find_homes() {
        const bool later = get<u16>(28) > 1;
        for (std::size_t page = 4 * 4096; !later && page < 34 * 4096 && page < m_end; page += 4096) {
            if (home_of(page) == page) m_first = 4 * 4096;
        }
        for (std::size_t page = 2 * 4096; page < m_end; page += 4096) {
            if (get<u32>(page) != 0x44524352) continue;
            if (const auto home = page < m_first ? home_of(page) : page) m_homes.emplace_back(page, *home);
        }
    }
    std::optional<u64> home_of(std::size_t page) const {
        std::optional<u64> home;
        for (std::size_t at = page + 64; at < page + 4096 - 40; at += 8) {
            const u64 place = place_of(get<u64>(at));
            if (!is_record(at) || place < 4 * 4096 || place >= m_end) continue;
            if (!home || place / 4096 == page / 4096) home = place / 4096 * 4096;
        }
        return home;
    }

    void turn_records(std::size_t page, u64 home) {
        for (std::size_t at = 64; at <= 4096 - 48;) {
            const std::size_t record = page + at;
            if (!is_record(record) || place_of(get<u64>(record)) != home + at) {
                at += 8;
                continue;
            }
            for (const std::size_t link : {0, 8, 16})
                turn(record + link);
            if (get<u32>(record + 32) == 2) {
                for (const std::size_t known : {8, 16, 24, 32, 40, 72})
                    turn(at, home, page, 48 + known);
            } else {
                for (const std::size_t data : {52, 56}) {
                    const auto stated = byte_of(at, home, page, data);
                    if (stated.empty() || get<u16>(stated.front() + 2) < 16) continue;
                    const std::size_t begin = (48 + get<u16>(stated.front())) / 8 * 8;
                    const auto image = byte_of(at, home, page, begin);
                    if (!image.empty() && is_file_record(m_log, image.front())) turn(at, home, page, begin + 8);
                }
            }
            at += 48 + padded(get<u32>(record + 24));
        }
    }
    void turn(std::size_t at, u64 home, std::size_t page, std::size_t offset) {
        for (const std::size_t found : byte_of(at, home, page, offset))
            turn(found);
    }

    // Where a byte of the record at `at` of a page is, in every copy of its page of about the same round.
    std::vector<std::size_t> byte_of(std::size_t at, u64 home, std::size_t page, std::size_t offset) const {
        const u64 round = get<u64>(m_plain, page + at) >> m_place_bits;
        at += offset;
        if (at < 4096) return {page + at};
        for (; at >= 4096; at -= 4096 - 64)
            home = home + 4096 < m_end ? home + 4096 : m_first;
        std::vector<std::size_t> found;
        for (const auto& [other, its_home] : m_homes) {
            const u64 later = (get<u64>(other + 32) >> m_place_bits) + 1 - round;
            if (its_home == home && later <= 2) found.push_back(other + at);
        }
        return found;
    }

    void turn_header(std::size_t page) {
        if (get<u32>(page) == 0x44524352) {
            const u64 first = get<u64>(page + 8);  // of a tail page perhaps the offset of its own place
            const bool offset = page < m_first && first % 4096 == 0 && first >= m_first && first < m_end;
            put(m_log, page + 8, offset ? place_of(lsn(first / 8)) : lsn(first));
            turn(page + 32);
        } else if (get<u32>(page) == 0x52545352) {
            const std::size_t area = page + get<u16>(page + 24), client = area + get<u16>(area + 22);
            for (const std::size_t known : {area, client, client + 8})
                turn(known);
        }
    }

    bytes m_log;
    bytes m_plain;  // as it was, with the sectors restored
    u64 m_pages;
    unsigned m_place_bits;
    u64 m_end;                // of the ring; bytes
    u64 m_first = 34 * 4096;  // byte at which it begins
    std::vector<std::pair<std::size_t, u64>> m_homes;
    std::vector<std::pair<std::size_t, std::vector<u16>>> m_sector_ends;
};

}  // namespace kest::disk
