#pragma once

#include "journal/usn_journal.h"
#include "logfile/log_store.h"
#include "mft/inode_collection.h"
#include "portable/seeded_map.h"

namespace kest {

// The highest sequence number seen of each file record, in report order.
class sequence_table {
public:
    // Learns from a reference that carries a sequence number, and lends the highest one seen to a reference that
    // carries none. A reference to record 0 is not changed.
    void note(inode_ref& ref) {
        if (ref.number() == 0) return;
        if (ref.sequence() != 0) {
            std::uint16_t& highest = m_highest[ref.number()];
            if (highest < ref.sequence()) highest = ref.sequence();
        } else if (const std::uint16_t* highest = m_highest.find(ref.number())) {
            ref.set_sequence(*highest);
        }
    }
    void clear() { m_highest.clear(); }

private:
    uni::seeded_map<std::uint16_t> m_highest;  // key: record number
};

// What the inputs hold: the stores that the readers fill. The log worker writes `log`, the MFT worker `inodes` and
// `mft`, the journal worker `journal`; none writes another's. The report adds what the log proves to `inodes`
// and to `sequence_by_inode`.
struct evidence {
    log_store log;
    _inode_collection inodes;
    mft_index mft;
    usn_journal journal;
    sequence_table sequence_by_inode;  // highest sequence number seen of each file
};

}  // namespace kest
