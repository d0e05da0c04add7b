#pragma once

#include "logfile/log_store.h"
#include "logfile/lsn_layout.h"

namespace kest {

// Reads a scanned log once more, in the order of its LSNs. An LSN states the place of its record, so each page that the
// scan kept has a place in the log, and each record in it proves itself. Adds what a scan in the order of the file
// cannot see:
// - records of the tail pages, which hold the newest pages until these are written to their own place;
// - records over a page end that go on in another page than the next of the file, over the end of the log too;
// - records of earlier rounds after the last record of a page;
// - compensation records whose undo data are stated to lie beyond their end.
// Takes out what the scan has put together of pieces that do not belong together. The entries are then in the order of
// their LSNs; they stay as they are where neither restart page states how LSNs are built. In the end the journal
// records are gathered, and all chains are linked, cut ones included.
void complete_log(log_store& store);

}  // namespace kest
