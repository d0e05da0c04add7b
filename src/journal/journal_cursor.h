#pragma once

#include <cstdint>
#include <optional>

#include "journal/usn_record.h"
#include "portable/block_stream.h"
#include "portable/byte_source.h"

namespace kest {

// How a journal file is read on where bytes are no record.
enum class journal_resync : std::uint8_t {
    // Kept: at the next multiple of 4096 bytes of the file, with records judged by version and length only, and none
    // that crosses a multiple of 65536 bytes. The rows of older options show what this finds.
    at_pages,
    // At the next multiple of 8 bytes. A copy may begin anywhere in the journal, and lack some of it: the page of a
    // record, which no record crosses, follows from its USN.
    at_records,
};

// A record of a journal file.
struct journal_record {
    std::uint64_t place = 0;  // where it begins, bytes
    usn_record usn;

    // Version 4 lists ranges of data; it has neither name nor time.
    bool has_name() const { return usn.has(&usn_layout::name); }
    bool is_directory() const { return (usn.get(&usn_layout::file_attributes) & usn_attributes::directory) != 0; }
};

// What came of reading a journal file.
struct journal_reading {
    std::uint64_t records = 0;
    // Bytes that are in no record, in groups of 8 of which one at least is not zero; only counted `at_records`. So what
    // fills up a page is no loss.
    std::uint64_t unread_bytes = 0;
    bool incomplete = false;  // a read failed before the file's end, or memory ran out: records are missing
};

// Goes through a journal file from one record to the next and keeps none. What is damaged costs itself only, and time
// in proportion to its bytes.
class journal_cursor {
public:
    // The file is open and outlives the cursor.
    journal_cursor(const uni::byte_source& file, journal_resync resync);

    // The next record in the file's order, or null at the end. Stands until the next call.
    const journal_record* next();
    // Up to the record at hand.
    const journal_reading& reading() const { return m_reading; }

private:
    uni::byte_view rest() const { return m_bytes.from(m_at); }
    std::uint64_t place() const { return m_offset + m_at; }
    bool supply() { return rest().size() >= m_wanted || supply_more(); }
    bool supply_more();
    bool read_block();
    const journal_record* next_at_pages();
    const journal_record* next_at_records();
    const journal_record* give(const usn_record& record);
    bool belongs(const usn_record& record);
    void pass_over();

    const journal_resync m_resync;
    uni::block_stream m_blocks;
    const std::size_t m_wanted;  // bytes at hand for the next record
    std::uint64_t m_offset = 0;  // of the bytes at hand, in the file
    uni::byte_view m_bytes;      // at hand; without a hole
    std::size_t m_at = 0;        // in them: what comes next
    bool m_ended = false;        // nothing more can be read

    std::optional<std::uint64_t> m_begin;  // the USN that the file's first byte would have
    bool m_lost = false;                   // bytes that are no record lie between the last record and what comes next
    std::optional<journal_record> m_record;
    journal_reading m_reading;
};

}  // namespace kest
