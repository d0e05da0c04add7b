#include "mft/record_layout.h"
#include "operations/decoders.h"

namespace kest {

namespace {

// The signature is not asked for, since the operation says what it is, and the sectors carry no fix-up in the log.
constexpr std::size_t smallest_record = 8;

// Kept: attributes are looked for from 43 bytes on, before the record's own number is all there.
constexpr std::size_t smallest_with_attributes = 43;

void append_record_flags(std::string& out, std::uint16_t value) {
    using namespace file_record_layout;
    out += (value & in_use) != 0 ? "in_use" : "not_in_use";
    if ((value & directory) != 0) {
        out += " ;directory";
    } else if ((value & extended_record) != 0) {
        out += " ;extended_record";
    } else {
        out += " ;plain_file";
    }
    if ((value & view_index) != 0) out += " ;view_index";
}

// Ends at the first field of which not even the first byte is there.
void write_header(entry_info& info, uni::byte_view record) {
    using namespace file_record_layout;
    details_writer& details = info.details;
    if (record.size() <= lsn.offset) return;
    details.number("lsn", record.get(lsn));
    if (record.size() <= sequence.offset) return;
    if (record.size() >= own_number.end()) {
        info.inode.set_number(record.get(own_number));
        details.number("inode", info.inode.number());
    }
    info.inode.set_sequence(record.get(sequence));
    details.number("seq", info.inode.sequence());
    if (record.size() <= hard_links.offset) return;
    details.number("hard_links", record.get(hard_links));
    if (record.size() <= flags.offset) return;
    append_record_flags(details.begin_field("flags"), record.get(flags));
    details.end_field();
}

// Neither the end marker nor a type ends the walk: what is no attribute is stepped over by its length. A length of
// 0, or the last 7 bytes, which hold none, end it.
void walk_attributes(entry_info& info, uni::byte_view attributes) {
    while (!attributes.empty()) {
        const std::uint32_t length = attributes.get(attribute_layout::record_length);
        if (length == 0) return;
        const bool shown = decode_attribute(info, beginning_of(attributes, length > attributes.size()));
        // An attribute shorter than its header may show more than it holds; so there is one at most.
        if (shown && length < attribute_layout::resident_header_size) return;
        attributes = attributes.from(length);
    }
}

}  // namespace

void decode_file_record(entry_info& info, const operation_data& given) {
    const uni::byte_view record = given.bytes;
    if (record.size() < smallest_record) return;
    info.details.open_group("file_record");
    write_header(info, record);
    info.details.close_group();
    if (record.size() < smallest_with_attributes) return;
    walk_attributes(info, record.from(record.get(file_record_layout::first_attribute)));
}

}  // namespace kest
