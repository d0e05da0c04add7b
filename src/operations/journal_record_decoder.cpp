#include "journal/usn_record.h"
#include "operations/decoders.h"

namespace kest {

namespace {

void append_whole_reason(std::string& out, std::uint32_t reason) {
    append_reason_text(out, reason, true);
}

// A journal record, as far as its bytes go. A field is shown as soon as its first byte is there.
void write_journal_record(entry_info& info, const usn_record& record) {
    using layout = usn_layout;
    details_writer& details = info.details;
    info.inode = record.file();
    details.file(info.inode);
    if (!record.reaches(&layout::parent)) return;
    info.parent = record.parent();
    details.parent(info.parent);
    if (!record.reaches(&layout::usn)) return;
    details.number("usn", record.get(&layout::usn));
    if (record.reaches(&layout::time)) {
        info.usn_time = record.get(&layout::time);
        details.time("time", info.usn_time);
    }
    if (!record.reaches(&layout::reason)) return;
    info.usn_reason = record.get(&layout::reason);
    details.words("reason", append_whole_reason, info.usn_reason);
    if (!record.reaches(&layout::source_info)) return;
    details.words("source_info", append_source_text, record.get(&layout::source_info));
    // Version 4 has extents, and the others what follows.
    if (record.reaches(&layout::remaining_extents)) {
        details.number("remaining_extents", record.get(&layout::remaining_extents));
    }
    if (!record.reaches(&layout::security_id)) return;
    details.number("security_id", record.get(&layout::security_id));
    if (!record.reaches(&layout::file_attributes)) return;
    details.words("file_attributes", append_attribute_text, record.get(&layout::file_attributes));
    if (record.reaches(&layout::name)) take_name_text(info, record.name());
}

}  // namespace

// Of all that is written to non-resident streams only records of the change journal are shown.
void decode_journal_record(entry_info& info, const operation_data& given) {
    const std::optional<usn_record> record = read_usn_record(given.bytes);
    if (!record || !record->reaches(&usn_layout::file)) return;
    info.details.open_group("usn_record");
    write_journal_record(info, *record);
    info.details.close_group();
}

}  // namespace kest
