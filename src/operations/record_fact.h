#pragma once

#include <cstdint>

#include "logfile/log_entry.h"
#include "logfile/operation.h"
#include "logfile/volume_geometry.h"
#include "mft/inode_ref.h"
#include "portable/byte_view.h"

namespace kest {

// What one log record proves by its own bytes.
enum class fact_kind : std::uint8_t {
    none,
    entry_added,        // an index entry of a file name; the data is the $FILE_NAME value
    entry_removed,      // likewise
    image,              // a file record as it is put into the MFT
    image_before,       // a file record that is replaced
    freed,              // a file record that is given up: its first bytes, or none where it does not hold them
    taken,              // a file record that was free until now; no data
    attribute_added,    // the attribute record
    attribute_removed,  // likewise
    standard_written,   // bytes of $STANDARD_INFORMATION; the data are those after
    sizes_written,      // the sizes of a non-resident attribute; likewise
    journal_record,     // the journal record
};

struct record_fact {
    fact_kind kind = fact_kind::none;
    inode_ref file;       // sequence number 0: the record does not state it
    uni::byte_view data;  // the log's own bytes
    // Bytes: where the attribute lies in the file record; for `standard_written` where the data begin in the value.
    std::uint16_t offset = 0;
};

// Whether the fact of a record can be an index entry, a journal record, or a file record that was free. Asks nothing of
// the record's own bytes, which are slow to come by.
inline bool may_name_file(const log_entry& entry) {
    using namespace operation_code;
    return entry.redo_op() == noop || entry.redo_op() == update_nonresident_value ||
           (entry.redo_op() >= add_index_entry_root && entry.redo_op() <= delete_index_entry_allocation);
}

// One fact at most. The redo side says what came, the undo side what went. Only what is whole inside of the bytes that
// the record states counts, nothing of a record that undoes another one.
record_fact proved_fact(const log_entry& entry, const mft_geometry& geometry);

}  // namespace kest
