#include "operations/operation_table.h"

#include <algorithm>
#include <iterator>

#include "operations/decoders.h"

namespace kest {

namespace {

// What is shown of one operation code, and what is done with its bytes.
struct operation_row {
    std::string_view name;
    decoder decode = nullptr;       // null: no decoder
    std::string_view dump_label{};  // empty: no dump
    bool location = false;          // shows after the data where it was done
    std::string_view word{};        // a plain word before the dump
    std::string_view event{};
    bool dated = false;  // its bytes hold times of a file
};

// By code. Kept: of the operations that go in pairs, only the deleting one shows its location; and two event words
// begin with a blank.
constexpr operation_row operations[] = {
    /*  0 */ {.name = "Noop", .dump_label = "noop_data"},
    /*  1 */ {.name = "CompensationLogRecord", .dump_label = "compensation_data"},
    /*  2 */
    {.name = "InitializeFileRecordSegment", .decode = decode_file_record, .event = " file_created", .dated = true},
    /*  3 */
    {.name = "DeallocateFileRecordSegment",
     .decode = decode_file_record,
     .location = true,
     .event = " file_deleted",
     .dated = true},
    /*  4 */ {.name = "WriteEndOfFileRecordSegment", .dump_label = "end_of_record_data"},
    /*  5 */ {.name = "CreateAttribute", .decode = decode_attribute_record, .dated = true},
    /*  6 */ {.name = "DeleteAttribute", .decode = decode_attribute_record, .location = true, .dated = true},
    /*  7 */ {.name = "UpdateResidentValue", .decode = decode_resident_update, .dated = true},
    /*  8 */ {.name = "UpdateNonresidentValue", .decode = decode_journal_record, .dated = true},
    /*  9 */ {.name = "UpdateMappingPairs", .decode = decode_mapping_pairs, .event = "changing_allocated_space"},
    /* 10 */ {.name = "DeleteDirtyClusters", .dump_label = "dirty_clusters_data", .location = true},
    /* 11 */ {.name = "SetNewAttributeSizes", .decode = decode_attribute_sizes},
    /* 12 */ {.name = "AddIndexEntryRoot", .decode = decode_index_entries, .dated = true},
    /* 13 */ {.name = "DeleteIndexEntryRoot", .dump_label = "deleted_entry_data", .location = true},
    /* 14 */ {.name = "AddIndexEntryAllocation", .decode = decode_index_entries, .dated = true},
    /* 15 */ {.name = "DeleteIndexEntryAllocation", .dump_label = "deleted_entry_data", .location = true},
    /* 16 */ {.name = "WriteEndOfIndexBuffer", .decode = decode_index_entries, .dated = true},
    /* 17 */ {.name = "SetIndexEntryVcnRoot", .decode = decode_index_vcn},
    /* 18 */ {.name = "SetIndexEntryVcnAllocation", .decode = decode_index_vcn},
    /* 19 */ {.name = "UpdateFileNameRoot", .decode = decode_duplicated_information, .dated = true},
    /* 20 */ {.name = "UpdateFileNameAllocation", .decode = decode_duplicated_information, .dated = true},
    /* 21 */ {.name = "SetBitsInNonresidentBitMap", .dump_label = "set_bits_data"},
    /* 22 */ {.name = "ClearBitsInNonresidentBitMap", .dump_label = "clear_bits_data"},
    /* 23 */ {.name = "HotFix", .dump_label = "hot_fix_data"},
    /* 24 */ {.name = "EndTopLevelAction", .dump_label = "end_action_data"},
    /* 25 */ {.name = "PrepareTransaction", .dump_label = "prepare_data"},
    /* 26 */ {.name = "CommitTransaction", .dump_label = "commit_data", .word = "commit"},
    /* 27 */ {.name = "ForgetTransaction", .word = "forget"},
    /* 28 */ {.name = "OpenNonresidentAttribute", .decode = decode_open_attribute},
    /* 29 */ {.name = "OpenAttributeTableDump"},
    /* 30 */ {.name = "AttributeNamesDump"},
    /* 31 */ {.name = "DirtyPageTableDump"},
    /* 32 */ {.name = "TransactionTableDump"},
    /* 33 */ {.name = "UpdateRecordDataRoot", .dump_label = "record_data", .location = true},
    /* 34 */ {.name = "UpdateRecordDataAllocation", .dump_label = "record_data", .location = true},
    /* 35 */ {.name = "UpdateRelativeDataInIndex", .dump_label = "record_data", .location = true},
    /* 36 */ {.name = "UpdateRelativeDataInIndex2", .dump_label = "record_data", .location = true},
    /* 37 */ {.name = "ZeroEndOfFileRecord", .dump_label = "zero_end_data"},
    /* 38 */ {.name = "Op38"},
};
static_assert(std::size(operations) == highest_operation + 2);

// Clears everything; strings keep their capacity.
void reset_entry_info(entry_info& info) {
    info.std_times = {};
    info.name_times = {};
    info.inode = {};
    info.parent = {};
    info.usn_time = 0;
    info.usn_reason = 0;
    info.name.clear();
    info.details.clear();
}

// Kept: the target attribute is decimal in either base, as it is a number of the attribute table and no offset.
void write_location(details_writer& details, const log_entry& entry) {
    details.open_group("location");
    details.decimal("target_attribute", entry.get(record_layout::target_attribute));
    details.number("record_offset", entry.get(record_layout::record_offset));
    details.number("attribute_offset", entry.get(record_layout::attribute_offset));
    details.close_group();
}

void write_no_payload(details_writer& details, std::uint16_t expected) {
    details.open_group("no_payload");
    details.number("expected_size", expected);
    details.decimal("actual_size", 0);
    details.close_group();
}

// What both sides of a record have in common: the bytes of `window`, shown as operation `code` has it.
void decode_data(std::uint16_t code, const log_entry& entry, const data_window& window, entry_info& info) {
    if (code >= std::size(operations)) return;
    const operation_row& row = operations[code];
    const uni::byte_view bytes = entry.payload().slice(window.begin, window.extent);
    if (row.decode != nullptr) row.decode(info, {bytes, entry});
    info.details.word(row.word);
    if (!row.dump_label.empty()) info.details.dump_group(row.dump_label, bytes);
}

}  // namespace

std::string_view operation_name(std::uint16_t code) {
    return code < std::size(operations) ? operations[code].name : "Unk";
}

std::string_view event_word(std::uint16_t code) {
    return code < std::size(operations) ? operations[code].event : std::string_view{};
}

void decode_redo(const log_entry& entry, entry_info& info) {
    reset_entry_info(info);
    const data_window window = redo_data(entry);
    decode_data(entry.redo_op(), entry, window, info);
    if (entry.redo_op() < std::size(operations) && operations[entry.redo_op()].location) {
        write_location(info.details, entry);
    }
    // Judged by the window as the header states it, not by what the payload holds of it.
    const std::uint16_t expected = entry.get(record_layout::redo_length);
    if (expected != 0 && window.extent == 0) write_no_payload(info.details, expected);
}

bool may_be_dated(const log_entry& entry) {
    return entry.redo_op() < std::size(operations) && operations[entry.redo_op()].dated;
}

void decode_facts(const log_entry& entry, entry_info& info) {
    reset_entry_info(info);
    if (may_be_dated(entry)) decode_data(entry.redo_op(), entry, redo_data(entry), info);
}

void decode_undo(const log_entry& entry, entry_info& info) {
    reset_entry_info(info);
    data_window window = undo_data(entry);
    if (window.length == 0) return;
    window.extent = std::min(window.extent, window.length);  // what pads the payload is no data
    decode_data(entry.undo_op(), entry, window, info);
}

}  // namespace kest
