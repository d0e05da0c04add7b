#pragma once

#include <cstdint>

#include "logfile/log_entry.h"
#include "logfile/operation.h"
#include "mft/record_layout.h"
#include "portable/byte_view.h"

namespace kest {

// One side of a log record: what is done to the file record, and the data for it.
struct operation_side {
    std::uint16_t operation = operation_code::noop;
    uni::byte_view data;
    std::uint32_t length = 0;  // as stated: newer systems do not log all data
};

// A log record that changes a file record. Offsets in bytes.
struct record_step {
    record_step() = default;
    explicit record_step(const log_entry& entry)
        : lsn(entry.this_lsn()),
          redo{entry.redo_op(), exact_redo(entry), entry.get(record_layout::redo_length)},
          undo{entry.undo_op(), exact_undo(entry), entry.get(record_layout::undo_length)},
          attribute(entry.get(record_layout::record_offset)),
          offset(entry.get(record_layout::attribute_offset)),
          compensates(entry.undo_op() == operation_code::compensation_log_record) {}

    // What is known before it is of no account.
    bool is_image() const {
        return redo.operation == operation_code::initialize_file_record_segment &&
               redo.data.size() >= file_record_layout::usa_begin;
    }

    // The LSN of the file record before the step, where its undo data say that; else 0.
    std::uint64_t found_lsn() const {
        if (undo.operation != operation_code::initialize_file_record_segment) return 0;
        return undo.data.get(file_record_layout::lsn);
    }

    std::uint64_t lsn = 0;
    operation_side redo;
    operation_side undo;
    std::uint32_t position = 0;     // in the log
    std::uint32_t transaction = 0;  // number of its transaction
    std::uint16_t attribute = 0;    // offset of the attribute in the file record
    std::uint16_t offset = 0;       // in the attribute
    bool rolled_back = false;
    bool after_gap = false;  // the log lacks something from the step before on, which may have changed the record
    bool compensates = false;
};

}  // namespace kest
