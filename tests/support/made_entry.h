#pragma once

#include "logfile/log_memory.h"

namespace kest {

// An entry over a copy of a record, which stays.
inline log_entry make_log_entry(uni::byte_view record, std::uint64_t file_offset, bool /*spanned*/) {
    static log_memory memory;
    return memory.keep_joined(record, file_offset);
}

}  // namespace kest
