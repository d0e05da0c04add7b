#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "journal/journal_cursor.h"
#include "portable/byte_source.h"
#include "portable/large_pages.h"
#include "portable/ordered_index.h"

namespace kest {

// What rows look up in one record of a journal file. There are millions.
struct usn_entry {
    std::uint64_t key = 0;   // its update sequence number, as rows ask for it
    std::uint64_t time = 0;  // FILETIME; 0 for version 4, and likewise the reason where the record is not plausible
    std::uint32_t reason = 0;
};
static_assert(sizeof(usn_entry) == 24);

// A journal file and what was found in it.
struct usn_journal {
    std::shared_ptr<const uni::byte_source> file;  // null: none is open
    uni::large_vector<usn_entry> entries;          // by key after the scan; of equal ones the first in the file
    journal_resync resync = journal_resync::at_pages;
    journal_reading reading;  // what came of reading the file last
};

// Empties the journal, for what it is to be read from. False `at_pages` if that is shorter than 4096 bytes.
[[nodiscard]] bool open_journal(usn_journal& journal, std::shared_ptr<const uni::byte_source> file,
                                journal_resync resync);

// Adds every record of the open file.
void scan_journal(usn_journal& journal);

// What the journal file says of one update sequence number.
struct journal_fact {
    std::uint64_t time = 0;  // FILETIME
    std::uint32_t reason = 0;
};

// Nothing for number 0 and for a number that the journal does not hold. An entry that is not plausible answers all the
// same, with all 0.
std::optional<journal_fact> lookup_journal(const usn_journal& journal, std::uint64_t usn);

}  // namespace kest
