#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "journal/usn_record.h"
#include "portable/block_reader.h"

namespace kest {

// A record of a journal file that is whole and says of which file it is.
struct journal_record {
    std::uint64_t place = 0;  // where it begins, bytes
    usn_record usn;

    // Version 4 lists ranges of data; it has neither name nor time.
    bool has_name() const { return usn.has(&usn_layout::name); }
    bool is_directory() const { return (usn.get(&usn_layout::file_attributes) & usn_attributes::directory) != 0; }
};

// Goes through a journal file from one record to the next and keeps none. No record crosses a page, so what is damaged
// costs its own page at most. The rows of a report have the journal from `scan_journal`, whose tests are others.
class journal_cursor {
public:
    // The file is open and outlives the cursor.
    explicit journal_cursor(const uni::file& file);

    // The next record in the file's order, or null at the end. Stands until the next call.
    const journal_record* next();
    // Some of the file could not be read.
    bool incomplete() const { return m_incomplete; }

private:
    bool next_in_page();
    bool read_block();

    uni::block_reader m_reader;
    std::vector<std::uint8_t> m_buffer;
    std::uint64_t m_offset = 0;  // of the block, in the file
    uni::byte_view m_block;
    std::size_t m_at = 0;        // in the block: what comes next
    std::size_t m_page_end = 0;  // likewise
    std::optional<journal_record> m_record;
    bool m_incomplete = false;
};

}  // namespace kest
