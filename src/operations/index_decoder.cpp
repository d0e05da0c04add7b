#include "format/number.h"
#include "mft/record_layout.h"
#include "operations/decoders.h"

namespace kest {

namespace {

// Layout of an $INDEX_ROOT value. Kept: the entries are taken to begin at 32, whatever the node header states.
namespace index_root_layout {
constexpr uni::field<std::uint32_t> entries_size{20};  // bytes, the node header of 16 included
constexpr std::uint32_t node_header_size = 16;
constexpr std::uint32_t first_entry = 32;
constexpr std::uint32_t smallest = 48;
}  // namespace index_root_layout

// Kept: a key of this length is a file name, whichever index it stands in.
constexpr std::uint16_t smallest_file_name_key = 67;

// Least room that key and data of another index take after the entry's header.
constexpr int smallest_data = 32;

// Kept: "-" stands after a byte unless its number, shifted left by the length of the dump, leaves no bit in 32; so
// mostly after the last one too. `stated_length` is the dump's length before it is cut to the bytes at hand.
void append_entry_dump(std::string& out, uni::byte_view bytes, std::uint32_t stated_length) {
    std::uint32_t number = 0;
    for (const std::uint8_t byte : bytes.bytes()) {
        append_hex(out, byte, 2, true);
        if ((++number << (stated_length % 32)) != 0) out += '-';
    }
}

// The security indexes repeat their key in the data after it: the hash index its hash and id, the id index its id.
// A copy counts if a nonzero offset follows it.
std::string_view entry_group(uni::byte_view entry) {
    const bool first_word = entry.u32(16) == entry.u32(24);
    if (first_word && entry.u32(20) == entry.u32(28) && entry.u64(32) != 0) return "$SDH";
    if (first_word && entry.u64(28) != 0) return "$SII";
    return "index_data";
}

void write_data_entry(entry_info& info, uni::byte_view entry) {
    using namespace index_entry_layout;
    const int length = entry.get(entry_length);
    if (length - entry.get(key_length) < smallest_data) return;
    const std::uint32_t dumped = entry.get(entry_length) - key;
    info.details.open_listed_group(entry_group(entry));
    append_entry_dump(info.details.begin_field("data"), entry.slice(key, dumped), dumped);
    info.details.end_field();
    info.details.close_group();
}

void take_file_reference(entry_info& info, uni::byte_view entry) {
    info.inode = inode_ref(entry.get(index_entry_layout::file_reference));
    info.details.open_listed_group("$I30");
    info.details.file(info.inode);
    info.details.close_group();
}

// One entry, at the start of the bytes that are left of the list.
void decode_index_entry(entry_info& info, const fragment& list) {
    using namespace index_entry_layout;
    const uni::byte_view entry = list.bytes;
    const std::uint16_t length = entry.get(entry_length);
    const std::uint16_t name_length = entry.get(key_length);
    const bool names_file = name_length >= smallest_file_name_key;
    if (names_file) take_file_reference(info, entry);
    if (list.partial && (entry.size() <= key || length > entry.size())) return;
    if (length == name_length) return;
    if (names_file) return decode_file_name_key(info, entry.from(key), name_length);
    write_data_entry(info, entry);
}

// Goes from entry to entry by their lengths. An entry length below that of its header ends the list after it.
void walk_entries(entry_info& info, const fragment& list) {
    using namespace index_entry_layout;
    uni::byte_view entries = list.bytes;
    while (entries.size() >= key) {
        decode_index_entry(info, beginning_of(entries, list.partial));
        const std::uint16_t length = entries.get(entry_length);
        if (length < key) return;
        entries = entries.from(length);
    }
}

}  // namespace

void decode_index_entries(entry_info& info, const operation_data& given) {
    walk_entries(info, beginning_of(given.bytes, true));
}

void decode_index_root(entry_info& info, const fragment& value) {
    using namespace index_root_layout;
    if (!value.partial && value.length < smallest) return;
    if (value.stops_before(2 * first_entry)) return;
    const std::uint32_t stated = value.bytes.get(entries_size) - node_header_size;
    if (static_cast<std::int32_t>(stated) <= 0) return;  // also a size of 2 GiB and more
    const uni::byte_view entries = value.bytes.slice(first_entry, stated);
    walk_entries(info, beginning_of(entries, value.partial || entries.size() < stated));
}

}  // namespace kest
