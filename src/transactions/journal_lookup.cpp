#include "transactions/journal_lookup.h"

namespace kest {

bool lookup_journal(const usn_journal& journal, std::uint64_t usn, journal_fact& out) {
    out = {};
    if (usn == 0) return false;
    const auto found = journal.journal_by_usn.find(usn);
    if (!found) return false;
    const usn_entry& entry = journal.entries[*found];
    out = {.time = entry.time, .reason = entry.reason};
    return true;
}

}  // namespace kest
