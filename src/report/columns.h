#pragma once

#include "driver/logfile_options.h"
#include "portable/file.h"

namespace kest {

// The report's columns, in order; a row's cells are named by these.
struct column_ids {
    enum id : int {
        time,
        ref,
        action,
        lsn,
        level,
        op_pattern,
        op_name,
        lcn,
        inode,
        seq,
        parent,
        parent_seq,
        path,
        details
    };
};

// Settles the report's columns and writes the header line, unless an earlier input of the run did, or the output
// shape has no report rows: then there are no columns, and every row is dropped.
void report_header(logfile_options& options, uni::fileio_output& report_sink);

}  // namespace kest
