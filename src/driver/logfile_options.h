#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "driver/cmd_params.h"
#include "journal/usn_journal.h"
#include "logfile/log_store.h"
#include "logfile/sequence_table.h"
#include "mft/inode_collection.h"
#include "mft/mft_index.h"

namespace kest {

// The run's context: the options, and the stores that the readers fill. The log worker writes `log`, the MFT
// worker the inode collection and `mft`, the journal worker `journal`; each leaves the others' alone.
struct logfile_options : cmd_params, _inode_collection {
    std::string log_path;
    std::string mft_path;
    std::string jrnl_path;
    bool have_log = false;
    bool have_mft = false;
    bool have_jrnl = false;
    bool guesses_allowed = true;
    bool showall_inodes = false;
    bool stats_requested = false;

    log_store log;
    mft_index mft;
    usn_journal journal;
    sequence_table sequence_by_inode;  // highest sequence number seen of each file
};

}  // namespace kest
