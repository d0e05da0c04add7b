#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "journal/usn_record.h"
#include "portable/block_reader.h"
#include "portable/byte_view.h"
#include "portable/file.h"
#include "portable/large_pages.h"
#include "portable/ordered_index.h"

namespace kest {

// One record of a journal file, of which reports ask for time and reason so far. There are millions, so the name is
// told by its place and not copied: UTF-16, `name_offset` bytes behind `file_offset`.
struct usn_entry {
    bool valid = false;             // passed all tests; if not, everything else is 0
    std::uint16_t name_offset = 0;  // bytes; likewise the length
    std::uint16_t name_length = 0;  // 0 for version 4
    std::uint64_t file_reference = 0;
    std::uint64_t parent_reference = 0;
    std::uint64_t usn = 0;
    std::uint64_t time = 0;  // FILETIME; 0 for version 4
    std::uint32_t reason = 0;
    std::uint32_t source_info = 0;
    std::uint32_t security_id = 0;      // 0 for version 4
    std::uint32_t file_attributes = 0;  // 0 for version 4
    std::uint64_t file_offset = 0;      // bytes
};

// A journal file and what was found in it. The indexes also hold the records that came out invalid; the first
// entry of a key stays.
struct usn_journal {
    uni::file file;
    uni::large_vector<usn_entry> entries;
    bool incomplete = false;           // a read failed ahead of the file's end, or memory ran out: entries are missing
    uni::sealed_index journal_by_usn;  // sealed by the scan
    uni::sealed_index journal_by_inode;  // key: record number. Left unsealed: a run does not ask it, and sorting it
                                         // would cost more than the scan

    void clear();
};

// Empties the journal, opens the file and measures it. False if it cannot be opened or is shorter than 4096 bytes.
[[nodiscard]] bool open_journal(usn_journal& journal, const std::string& path);

// Adds every record of the open file. False if there is none.
bool scan_journal(usn_journal& journal);

// What a journal file is read by; no record crosses one of its pages.
inline constexpr std::size_t journal_block_size = 65'536;
inline constexpr std::size_t journal_page_size = 4096;

// Calls `visit(block, file_offset)` for each block of the open file. What cannot be read leaves the journal incomplete;
// a block of which nothing arrives ends it.
template <class visitor>
void for_each_journal_block(usn_journal& journal, visitor&& visit) {
    std::vector<std::uint8_t> buffer(journal_block_size);
    uni::block_reader reader(journal.file, 0, journal.file.size(), journal_block_size);
    while (reader.advance()) {
        const uni::block_reader::block block = reader.read(buffer);
        visit(uni::byte_view{buffer}.slice(0, block.bytes), block.offset);
        if (!block.failed) continue;
        journal.incomplete = true;
        if (block.bytes == 0) return;
    }
}

// Calls `visit(record, bytes, position)` for each record of one block, which is read from its start; a record that does
// not end within it ends the block.
template <class visitor>
void for_each_usn_record(uni::byte_view block, visitor&& visit) {
    for (std::size_t position = 0; position < block.size();) {
        const uni::byte_view bytes = block.from(position);
        const std::uint32_t length = stated_usn_length(bytes);
        if (length > bytes.size()) break;
        const std::optional<usn_record> record = read_usn_record(bytes);
        if (!record) {
            position = (position / journal_page_size + 1) * journal_page_size;
            continue;
        }
        visit(*record, bytes, position);
        position += length;  // above the version's floor, so never 0
    }
}

// Keeps the records of one block of the file, at `file_offset`. Seals no index.
void scan_journal_block(usn_journal& journal, uni::byte_view block, std::uint64_t file_offset);

}  // namespace kest
