#pragma once

#include <cstdint>
#include <string>

#include "mft/file_times.h"
#include "mft/inode_ref.h"
#include "operations/details_writer.h"

namespace kest {

// What decoding one log record yields. Each field holds the last value written: a record that carries several names or
// attributes leaves the last one.
struct entry_info {
    explicit entry_info(details_writer& sink) : details(sink) {}

    file_times std_times;               // of a $STANDARD_INFORMATION value
    file_times name_times;              // of a $FILE_NAME value
    std::uint64_t name_alloc_size = 0;  // bytes; this and the next two have no reader yet
    std::uint32_t std_flags = 0;        // file attribute bits of a $STANDARD_INFORMATION value
    std::uint32_t name_flags = 0;       // file attribute bits of a $FILE_NAME value
    inode_ref inode;                    // number 0: unknown; sequence 0: unknown
    inode_ref parent;                   // likewise
    std::uint64_t usn_time = 0;         // FILETIME of a journal record tied to this record
    std::uint32_t usn_reason = 0;       // its reason mask
    std::string name;
    details_writer& details;  // where its text goes
};

// Clears everything; strings keep their capacity.
void reset_entry_info(entry_info& info);

// Takes a name, in UTF-16, and writes it to the details.
void take_name_text(entry_info& info, uni::byte_view units);

}  // namespace kest
