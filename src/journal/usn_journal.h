#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "journal/journal_cursor.h"
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
    journal_resync resync = journal_resync::at_pages;
    journal_reading reading;             // what came of reading the file last
    uni::sealed_index journal_by_usn;    // sealed by the scan
    uni::sealed_index journal_by_inode;  // key: record number. Left unsealed: a run does not ask it, and sorting it
                                         // would cost more than the scan

    void clear();
};

// Empties the journal, opens the file and measures it. False if it cannot be opened; `at_pages` also if it is shorter
// than 4096 bytes.
[[nodiscard]] bool open_journal(usn_journal& journal, const std::string& path, journal_resync resync);

// Adds every record of the open file.
void scan_journal(usn_journal& journal);

}  // namespace kest
