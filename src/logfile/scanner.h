#pragma once

#include <cstdint>
#include <span>

#include "logfile/log_store.h"
#include "portable/byte_source.h"

namespace kest {

// Reads every page of a log into `store`, in file order, and links the chains, unless the store `keeps_pages`. Bad
// pages and records are passed over. Where reading stops early what was read is kept and linked, and `incomplete` is
// set.
void scan_logfile(log_store& store, const uni::byte_source& file);

// The same over a log in memory, which is copied. False for fewer than 4096 bytes.
bool scan_buffer(log_store& store, uni::byte_view bytes);

// Adds a whole record of at least 88 bytes that lies in a page of the store, and the journal record in it. False if
// memory runs out: it costs this record, and the store is `incomplete`.
bool add_record(log_store& store, uni::byte_view record);
// The same of a record that was put together over page ends.
bool add_joined_record(log_store& store, uni::byte_view bytes, std::uint64_t file_offset);

// Gathers the journal records that the scan of a store that `keeps_pages` has left: not every run asks for them.
void keep_left_journal_records(log_store& store);

// Reads a scanned log once more, in the order of its LSNs. An LSN states the offset of its record, so each page that
// the scan kept has its offset in the log, and each record in it proves itself. Adds what a scan in the order of the
// file cannot see:
// - records of the tail pages, which hold the newest pages until these are written where they belong;
// - records over a page end that go on in another page than the next of the file, over the end of the log too;
// - records of earlier rounds after the last record of a page;
// - compensation records whose undo data are stated to lie beyond their end.
// Takes out what the scan has put together of pieces that do not belong together. The entries are then in the order of
// their LSNs; they stay as they are where nothing shows how LSNs are built. In the end all chains are linked, cut ones
// included.
void complete_log(log_store& store);

}  // namespace kest
