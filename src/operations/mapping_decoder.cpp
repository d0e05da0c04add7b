#include "format/number.h"
#include "operations/decoders.h"

namespace kest {

namespace {

// Layout of an entry of the open attribute table. Entries of 40 bytes are those of older systems.
namespace open_attribute_layout {
constexpr uni::field<std::uint32_t> allocated_or_next_free{0};
constexpr std::uint32_t allocated = 0xFFFFFFFF;
}  // namespace open_attribute_layout

namespace old_open_attribute_layout {
constexpr uni::field<std::uint32_t> type{4};
constexpr uni::field<std::uint8_t> dirty{12};
constexpr uni::field<std::uint64_t> file_reference{16};
constexpr uni::field<std::uint64_t> lsn{24};
constexpr uni::field<std::uint64_t> dirty_pages_lsn{32};
constexpr std::size_t size = dirty_pages_lsn.end();
}  // namespace old_open_attribute_layout

namespace new_open_attribute_layout {
constexpr uni::field<std::uint64_t> file_reference{8};
constexpr uni::field<std::uint64_t> lsn{16};
constexpr uni::field<std::uint32_t> type{40};
}  // namespace new_open_attribute_layout

// Kept: the next free entry is hexadecimal in either base.
void write_state(details_writer& details, std::uint32_t word) {
    std::string& out = details.begin_field("state");
    if (word == open_attribute_layout::allocated) {
        out += "in_use";
    } else {
        out += "free ";
        append_number(out, word, true);
    }
    details.end_field();
}

// Kept: the reference is remembered and not shown, and `dirty` is the character that the byte is.
void write_old_entry(entry_info& info, uni::byte_view entry) {
    using namespace old_open_attribute_layout;
    info.details.decimal("attribute_type", entry.get(type));
    info.details.character("dirty", entry.get(dirty));
    info.inode = inode_ref(entry.get(file_reference));
    info.details.number("lsn", entry.get(lsn));
    info.details.number("dirty_pages_lsn", entry.get(dirty_pages_lsn));
}

void write_new_entry(entry_info& info, uni::byte_view entry) {
    using namespace new_open_attribute_layout;
    info.details.decimal("attribute_type", entry.get(type));
    info.inode = inode_ref(entry.get(file_reference));
    info.details.number("inode", info.inode.number());
    info.details.number("seq", info.inode.sequence());
    info.details.number("lsn", entry.get(lsn));
}

}  // namespace

void decode_mapping_pairs(entry_info& info, const operation_data& given) {
    info.details.dump_group("mapping_pairs", given.bytes);
}

void decode_open_attribute(entry_info& info, const operation_data& given) {
    const uni::byte_view entry = given.bytes;
    constexpr std::size_t old_size = old_open_attribute_layout::size;
    if (entry.size() < old_size) return;
    info.details.open_group("open_attribute");
    write_state(info.details, entry.get(open_attribute_layout::allocated_or_next_free));
    if (entry.size() == old_size) {
        write_old_entry(info, entry);
    } else {
        write_new_entry(info, entry);
    }
    info.details.close_group();
}

}  // namespace kest
