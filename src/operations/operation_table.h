#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "logfile/log_entry.h"
#include "logfile/operation.h"
#include "mft/inode_record.h"
#include "operations/details_writer.h"

namespace kest {

// What decoding one log record yields. Each field holds the last value written: a record that carries several names or
// attributes leaves the last one.
struct entry_info {
    explicit entry_info(details_writer& sink) : details(sink) {}

    file_times std_times;          // of a $STANDARD_INFORMATION value
    file_times name_times;         // of a $FILE_NAME value
    inode_ref inode;               // number 0: unknown; sequence 0: unknown
    inode_ref parent;              // likewise
    std::uint64_t usn_time = 0;    // FILETIME of a journal record tied to this record
    std::uint32_t usn_reason = 0;  // its reason mask
    std::string name;
    bool names_wanted = true;  // otherwise `name` need not be taken
    details_writer& details;   // where its text goes
};

// "Unk" for a code above 38.
std::string_view operation_name(std::uint16_t code);

// What happened, where no journal reason says it; empty for most codes.
std::string_view event_word(std::uint16_t code);

// Whether the bytes of a record may hold times of a file.
bool may_be_dated(const log_entry& entry);

// Decodes the redo bytes of a record into `info`, which is cleared of an earlier record's facts first.
void decode_redo(const log_entry& entry, entry_info& info);
// The same of records whose bytes hold times of a file, and nothing of others: what the time of a transaction rests on.
void decode_facts(const log_entry& entry, entry_info& info);
// The same for what the record would put back: nothing where it holds no undo bytes. Where it was done is not shown
// again.
void decode_undo(const log_entry& entry, entry_info& info);

}  // namespace kest
