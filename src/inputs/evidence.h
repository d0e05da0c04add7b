#pragma once

#include "journal/usn_journal.h"
#include "logfile/log_store.h"
#include "logfile/sequence_table.h"
#include "mft/inode_collection.h"
#include "mft/mft_index.h"

namespace kest {

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
