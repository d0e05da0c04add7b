#pragma once

#include <cstddef>
#include <vector>

#include "format/result_row.h"

namespace kest {

// The report's columns, in order; a row's cells are named by these.
struct column_ids {
    enum id : std::size_t {
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
        details,
        undo  // only if asked for
    };
};

// With `guesses_allowed` the path's title tells that some are guesses.
std::vector<row_column> report_columns(bool guesses_allowed, bool show_undo);

}  // namespace kest
