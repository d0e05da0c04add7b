#include "operations/entry_info.h"

#include "portable/utf16.h"

namespace kest {

void reset_entry_info(entry_info& info) {
    info.std_times = {};
    info.name_times = {};
    info.name_alloc_size = 0;
    info.std_flags = 0;
    info.name_flags = 0;
    info.inode = {};
    info.parent = {};
    info.usn_time = 0;
    info.usn_reason = 0;
    info.name.clear();
    info.details.clear();
}

void take_name_text(entry_info& info, uni::byte_view units) {
    info.name.clear();
    uni::append_utf16_text(info.name, units);
    info.details.evidence_text("name", units, details_writer::text_kind::name, info.name);
}

}  // namespace kest
