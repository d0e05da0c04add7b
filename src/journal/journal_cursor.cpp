#include "journal/journal_cursor.h"

#include <algorithm>

namespace kest {

namespace {

constexpr std::size_t block_size = 65'536;  // bytes; holes are stepped over in such
constexpr std::size_t page_size = 4096;     // of a journal

// At hand for a record and the one after it, where the file goes on.
constexpr std::size_t two_records = 2 * page_size;
constexpr std::size_t large_block = 1 << 20;

// A journal that is asked for records of version 3 makes them of those of version 2, with longer references.
std::uint32_t length_in_journal(const usn_record& record) {
    constexpr std::uint32_t name_begin = 60;
    return record.length() - (record.has(&usn_layout::name) ? record.name_begin() - name_begin : 0);
}

bool page_holds(const usn_record& record) {
    const std::uint64_t usn = record.get(&usn_layout::usn);
    return usn % usn_granule == 0 && usn % page_size + length_in_journal(record) <= page_size;
}

// Whether what stands after the record goes on where it ends: the next record, the zeros that fill up its page, or
// nothing.
bool leads_on(const usn_record& record, uni::byte_view after) {
    if (after.u64(0) == 0) return true;
    const std::optional<usn_record> next = sound_usn_record(after);
    if (!next) return false;
    const std::uint64_t usn = record.get(&usn_layout::usn);
    const std::uint64_t next_usn = next->get(&usn_layout::usn);
    return next_usn == usn + record.length() || next_usn == usn + length_in_journal(record) ||
           next_usn == (usn / page_size + 1) * page_size;
}

// Whether a record after damage proves it: one whose USN is as far from its own as it lies in the file. `bytes` begin
// with the record. The one after it may be damaged as a whole.
bool is_confirmed(const usn_record& record, uni::byte_view bytes) {
    constexpr std::size_t farthest = 1024;
    const std::size_t end = std::min(bytes.size(), record.length() + farthest);
    for (std::size_t at = record.length(); at < end; at += usn_granule) {
        const std::optional<usn_record> later = sound_usn_record(bytes.from(at));
        if (later && later->get(&usn_layout::usn) == record.get(&usn_layout::usn) + at) return true;
    }
    return false;
}

}  // namespace

journal_cursor::journal_cursor(const uni::byte_source& file, journal_resync resync)
    : m_resync(resync),
      m_blocks(file, {.grain = block_size,
                      .block_size = resync == journal_resync::at_pages ? block_size : large_block,
                      .lead = two_records}),
      m_wanted(resync == journal_resync::at_pages ? 1 : two_records) {}

const journal_record* journal_cursor::next() {
    return m_resync == journal_resync::at_pages ? next_at_pages() : next_at_records();
}

const journal_record* journal_cursor::next_at_pages() {
    while (supply()) {
        const std::uint32_t length = stated_usn_length(rest());
        if (length > rest().size()) {
            m_at = m_bytes.size();
        } else if (const auto record = read_usn_record(rest())) {
            return give(*record);
        } else {
            m_at = std::min(m_bytes.size(), (m_at / page_size + 1) * page_size);
        }
    }
    return nullptr;
}

const journal_record* journal_cursor::next_at_records() {
    while (supply()) {
        const std::optional<usn_record> record = sound_usn_record(rest());
        if (record && belongs(*record)) {
            m_lost = false;
            return give(*record);
        }
        pass_over();
    }
    return nullptr;
}

const journal_record* journal_cursor::give(const usn_record& record) {
    m_record = {place(), record};
    m_at += record.length();
    ++m_reading.records;
    return &*m_record;
}

// A record whose USN fits the one before it stands where it should. Another one may begin a piece of the journal that
// lies elsewhere in the file, and then what comes after it says so, too, across one damaged record. One that stands
// by itself counts right after another record, where nothing else is to be expected: its USN is damaged, or records are
// left out. Among bytes that are no record it may be anything, such as a name that was made to look like one.
bool journal_cursor::belongs(const usn_record& record) {
    const std::uint64_t begin = record.get(&usn_layout::usn) - place();
    if (m_begin == begin) return true;
    if (!page_holds(record)) return !m_lost;
    if (!leads_on(record, rest().from(record.length())) && !(m_lost && is_confirmed(record, rest()))) return !m_lost;
    m_begin = begin;
    return true;
}

void journal_cursor::pass_over() {
    const std::size_t step = std::min(usn_granule, rest().size());
    const auto passed = rest().slice(0, step).bytes();
    if (std::ranges::any_of(passed, [](std::uint8_t byte) { return byte != 0; })) {
        m_reading.unread_bytes += step;
        m_lost = true;
    }
    m_at += step;
}

// Sees to it that as much is at hand as is asked for, or all up to a hole or the end. False at the end.
bool journal_cursor::supply_more() {
    while (rest().size() < m_wanted) {
        if (m_ended || !m_blocks.advance()) break;
        if (!rest().empty() && m_blocks.position() != m_offset + m_bytes.size()) break;
        m_ended = !read_block();
    }
    return !rest().empty();
}

bool journal_cursor::read_block() {
    const uni::block_stream::block block = m_blocks.read(rest().bytes());
    if (m_reading.records != 0) m_blocks.read_ahead();  // some ask for the first record only
    m_reading.incomplete = m_reading.incomplete || block.failed;
    m_offset = block.offset;
    m_bytes = block.bytes;
    m_at = 0;
    return !block.failed || block.arrived != 0;
}

}  // namespace kest
