#include "journal/usn_journal.h"

#include <algorithm>
#include <new>

#include "journal/usn_record.h"
#include "mft/inode_ref.h"

namespace kest {

namespace {

constexpr std::uint64_t least_file_size = 4096;
constexpr std::size_t block_size = 65'536;
constexpr std::size_t page_size = 4096;           // no record crosses a page of the journal
constexpr std::uint64_t least_record_size = 62;   // bytes
constexpr std::uint64_t most_reserved = 1 << 22;  // entries

constexpr std::uint64_t highest_inode = 0xFFFF'FFFE;
constexpr std::uint16_t highest_sequence = 61'440;
constexpr std::uint32_t highest_attributes = 5'242'880;

// Kept: the name offset must be that of version 2 in version 3 too, so sound records of version 3 come out invalid.
constexpr std::uint16_t name_offset_wanted = 60;
// Kept: a name of this many bytes or more is taken for damaged, and only its beginning is kept.
constexpr std::uint32_t first_refused_name_length = 402;
constexpr std::uint32_t length_of_refused_name = 20;

// Kept: the key of the number index stands here in every version, though only version 2 has its update sequence
// number in this place. Later versions have their parent reference there.
constexpr std::uint32_t usn_key = 24;

bool references_plausible(inode_ref file, inode_ref parent) {
    return file.number() <= highest_inode && file.sequence() >= 1 && file.sequence() <= highest_sequence &&
           parent.sequence() <= highest_sequence;
}

// The tests of what version 4 lacks.
bool details_plausible(uni::byte_view bytes, const usn_layout& layout) {
    if (bytes.u64(layout.time) == 0) return false;
    if (inode_ref(bytes.u64(layout.parent)).number() > highest_inode) return false;
    if (bytes.u16(layout.name_offset) != name_offset_wanted) return false;
    if (bytes.u32(layout.file_attributes) > highest_attributes) return false;
    // Kept: the sum is one of 16 bits, so a name length near 65536 passes.
    const auto name_end = static_cast<std::uint16_t>(bytes.u16(layout.name_length) + name_offset_wanted);
    return bytes.get(usn_common::record_length) >= name_end;
}

void fill_details(usn_entry& entry, uni::byte_view bytes, const usn_layout& layout) {
    entry.time = bytes.u64(layout.time);
    entry.security_id = bytes.u32(layout.security_id);
    entry.file_attributes = bytes.u32(layout.file_attributes);
    const std::size_t stated = bytes.u16(layout.name_length);
    const std::size_t wanted = stated < first_refused_name_length ? stated : length_of_refused_name;
    const std::size_t there = bytes.slice(layout.name, wanted).size();
    entry.name_offset = static_cast<std::uint16_t>(layout.name);
    entry.name_length = static_cast<std::uint16_t>(there - there % 2);
}

// Leaves the cleared `entry` as it is unless the record passes every test.
void fill_usn_entry(usn_entry& entry, uni::byte_view bytes, const usn_layout& layout, std::uint64_t file_offset) {
    const std::uint64_t file = bytes.get(usn_common::file_reference);
    const std::uint64_t parent = bytes.u64(layout.parent);
    const bool has_details = layout.name != 0;
    if (bytes.u64(layout.usn) == 0 || !references_plausible(inode_ref(file), inode_ref(parent))) return;
    if (has_details && !details_plausible(bytes, layout)) return;
    entry.valid = true;
    entry.file_reference = file;
    entry.parent_reference = parent;
    entry.usn = bytes.u64(layout.usn);
    entry.reason = bytes.u32(layout.reason);
    entry.source_info = bytes.u32(layout.source_info);
    entry.file_offset = file_offset;
    if (has_details) fill_details(entry, bytes, layout);
}

void keep_record(usn_journal& journal, uni::byte_view bytes, const usn_layout& layout, std::uint64_t file_offset) {
    const auto index = static_cast<std::uint32_t>(journal.entries.size());
    fill_usn_entry(journal.entries.emplace_back(), bytes, layout, file_offset);
    journal.journal_by_usn.add(bytes.u64(usn_key), index);
    journal.journal_by_inode.add(inode_ref(bytes.get(usn_common::file_reference)).number(), index);
}

// A journal is a hole with its data behind it; how much of that is data is not known.
void reserve_entries(usn_journal& journal) {
    const std::uint64_t bytes = journal.file.size() - journal.file.next_data(0);
    const auto count = static_cast<std::size_t>(std::min(bytes / least_record_size, most_reserved));
    journal.entries.reserve(count);
    journal.journal_by_usn.reserve(count);
    journal.journal_by_inode.reserve(count);
}

void scan_blocks(usn_journal& journal) {
    std::vector<std::uint8_t> buffer(block_size);
    for (std::uint64_t offset = 0; offset < journal.file.size();) {
        const std::int64_t arrived = journal.file.read_at(buffer, offset);
        if (arrived <= 0) return;
        const uni::byte_view block = uni::byte_view{buffer}.slice(0, static_cast<std::uint64_t>(arrived));
        const bool any = scan_journal_block(journal, block, offset);
        offset += block_size;
        // A block without a record may lie in a hole, which holds none: on to the block where data begins.
        if (!any) offset = std::max(offset, journal.file.next_data(offset) / block_size * block_size);
    }
}

}  // namespace

void usn_journal::clear() {
    file.close();
    entries.clear();
    journal_by_usn.clear();
    journal_by_inode.clear();
}

bool open_journal(usn_journal& journal, const std::string& path) {
    journal.clear();
    return journal.file.open(path, uni::open_mode::read) && journal.file.size() >= least_file_size;
}

bool scan_journal(usn_journal& journal) {
    try {
        reserve_entries(journal);
        scan_blocks(journal);
    } catch (const std::bad_alloc&) {
        // What was found up to here stands.
    }
    journal.journal_by_usn.seal_unique();
    return !journal.entries.empty();
}

bool scan_journal_block(usn_journal& journal, uni::byte_view block, std::uint64_t file_offset) {
    bool any = false;
    for (std::size_t position = 0; position < block.size();) {
        const uni::byte_view bytes = block.from(position);
        const std::uint32_t length = bytes.get(usn_common::record_length);
        if (length > bytes.size()) break;
        const usn_layout* const layout = usn_record_layout(bytes);
        if (layout == nullptr) {
            position = (position / page_size + 1) * page_size;
            continue;
        }
        any = true;
        keep_record(journal, bytes, *layout, file_offset + position);
        position += length;  // above the version's floor, so never 0
    }
    return any;
}

}  // namespace kest
