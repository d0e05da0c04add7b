#pragma once

#include <cstdint>

#include "journal/usn_journal.h"

namespace kest {

// What the journal file says of one update sequence number. All 0 where it says nothing.
struct journal_fact {
    std::uint64_t time = 0;  // FILETIME
    std::uint32_t reason = 0;
};

// False, with `out` all 0, for number 0 and for a number that the journal does not hold. An entry that failed the
// journal's tests answers all the same: true with all 0.
bool lookup_journal(const usn_journal& journal, std::uint64_t usn, journal_fact& out);

}  // namespace kest
