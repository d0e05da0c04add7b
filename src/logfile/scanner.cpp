#include "logfile/scanner.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <utility>

#include "journal/usn_record.h"
#include "logfile/operation.h"
#include "portable/block_stream.h"
#include "portable/large_pages.h"

namespace kest {

namespace {

// Layout of one name: a nonzero value, then UTF-16 text that begins with "$" and ends in a zero word or after
// sixteen characters. Offsets in bytes from the entry's start.
constexpr std::uint32_t name_begin = 4;
constexpr std::uint32_t name_limit = 16;  // characters
constexpr std::uint16_t dollar = 0x24;

constexpr std::size_t search_begin = page_layout::records_begin;
constexpr std::size_t search_end = search_begin + 17;
constexpr unsigned offsets_to_try = 4;
constexpr std::size_t offset_step = 8;  // bytes

bool is_tail_name(uni::byte_view page, std::size_t at) {
    return page.u32(at) != 0 && page.u16(at + name_begin) == dollar;
}

tail_name_image image_of(uni::byte_view page, std::size_t at) {
    tail_name_image image{};  // cut at the page's end
    const auto bytes = page.slice(at, image.size()).bytes();
    std::copy(bytes.begin(), bytes.end(), image.begin());
    return image;
}

// Bytes of a name up to its zero word; one character short of the limit if there is none.
std::size_t name_length(uni::byte_view page, std::size_t entry) {
    for (std::uint32_t character = 0; character < name_limit; ++character) {
        if (page.u16(entry + name_begin + 2 * character) == 0) return std::size_t{2} * character;
    }
    return std::size_t{2} * (name_limit - 1);
}

// From `position` on, up to four offsets, 8 bytes apart. After the page's end everything reads as 0.
std::size_t first_record_offset(uni::byte_view page, std::size_t position, std::uint64_t last_lsn) {
    for (unsigned tried = 0; tried < offsets_to_try; ++tried, position += offset_step) {
        std::array<std::uint8_t, record_layout::payload_begin> header{};
        const auto bytes = page.slice(position, header.size()).bytes();
        std::copy(bytes.begin(), bytes.end(), header.begin());
        if (record_plausible(std::span<const std::uint8_t>(header), last_lsn)) break;
    }
    return position;
}

// The two pages after the restart pages may hold a table of names before their first record.
constexpr bool is_tail_page(std::uint64_t page_offset) {
    return page_offset == first_tail * log_page_size || page_offset == (first_tail + 1) * log_page_size;
}

// Keeps the name table of a tail page, if it has one, and returns where its first record is to be looked for, in bytes
// from the page's start. That may lie after the page's end.
std::size_t keep_tail_names(log_store& store, uni::byte_view page, std::uint64_t page_offset, std::uint64_t last_lsn) {
    std::size_t entry = search_begin;
    while (entry <= search_end && !is_tail_name(page, entry))
        ++entry;
    if (entry > search_end) return first_record_offset(page, search_begin, last_lsn);

    // Kept: a table that does not begin at the first offset leaves the walk one byte out of step with it, so that
    // it usually ends after one name.
    std::size_t position = entry == search_begin ? entry : entry + 1;
    auto& names = page_offset == first_tail * log_page_size ? store.tail_names_first : store.tail_names_second;
    for (; is_tail_name(page, entry); entry = position) {
        names.push_back(image_of(page, entry));
        position += name_length(page, entry) + name_begin + 2;
    }
    if (page.u32(position) == 0) position += 4;
    position = (position + 7) / 8 * 8;
    return first_record_offset(page, position, last_lsn);
}

constexpr std::uint32_t restart_usa_begin = 30;  // bytes; where the update sequence stands, whatever the page says
constexpr std::uint32_t record_usa_begin = 40;
constexpr std::uint32_t least_search_steps = 20;
constexpr std::uint32_t search_step = 8;          // bytes
constexpr std::size_t least_record_bytes = 16;    // what must be left in a page to look for a record
constexpr std::size_t least_released = 64 << 10;  // bytes
constexpr std::size_t smallest_record_size = 88;  // bytes, to reckon how many there will be at most
constexpr std::size_t most_reserved = 1 << 20;    // entries

// Kept: the journal record is looked for at the payload's start, wherever the redo bytes begin.
void keep_journal_record(log_store& store, std::uint32_t position) {
    const log_entry& entry = store.entries[position];
    const uni::byte_view payload = entry.payload();
    if (payload.empty() || entry.redo_op() != operation_code::update_nonresident_value) return;
    const std::optional<usn_record> found = read_usn_record(payload);
    if (!found || !found->says_all()) return;
    if (std::exchange(store.journal_files[found->file().value()], true)) return;
    store.journal_records.push_back(position);
}

// The final gate of every record that the scan finds.
bool is_stored(uni::byte_view record) {
    return record_plausible(record.slice(0, record_layout::payload_begin), any_lsn);
}

// Adds to the pending record up to `wanted` bytes in all from the start of `record`; says how many it took.
std::uint32_t carry_up_to(log_store& store, uni::byte_view record, std::uint32_t wanted) {
    const std::uint32_t need = wanted - static_cast<std::uint32_t>(store.carry.size());
    const uni::byte_view piece = record.slice(0, need);
    store.carry.append(piece);
    return static_cast<std::uint32_t>(piece.size());
}

// Goes on with the pending record; stores it if it becomes whole. Returns the bytes taken.
// Kept: a record that states fewer than 88 bytes in all is never whole here, because the count of bytes that are
// missing wraps; the page walk abandons it.
std::uint32_t continue_record(log_store& store, uni::byte_view record) {
    std::uint32_t taken = 0;
    if (store.carry.size() < record_layout::payload_begin) {
        taken = carry_up_to(store, record, record_layout::payload_begin);
        if (store.carry.size() < record_layout::payload_begin) return taken;
        record = record.from(taken);
    }
    if (!record_plausible(store.carry.bytes().slice(0, record_layout::payload_begin), any_lsn)) {
        store.carry.drop();
        return taken;
    }
    const std::uint32_t total = total_length(store.carry.bytes());
    const std::uint32_t missing = total - static_cast<std::uint32_t>(store.carry.size());
    taken += carry_up_to(store, record, total);
    if (record.size() < missing) return taken;
    if (is_stored(store.carry.bytes())) add_joined_record(store, store.carry.bytes(), store.carry.file_offset());
    store.carry.drop();
    return taken;
}

// Stores the record at the start of `record`, which reaches to the page's end, or begins to carry it. Returns the
// bytes taken.
std::uint32_t scan_record(log_store& store, uni::byte_view record, std::uint64_t file_offset) {
    if (store.carry.pending()) return continue_record(store, record);
    const std::uint32_t total = total_length(record);
    if (record.size() >= record_layout::payload_begin && record.size() >= total) {
        if (is_stored(record)) add_record(store, record);
        return total;
    }
    store.carry.begin(file_offset);
    store.carry.append(record);
    return static_cast<std::uint32_t>(record.size());
}

// Searches for the first record from `position` on, every eighth byte; 0 if there is none within the bound.
std::size_t find_record(uni::byte_view page, std::size_t position, std::uint64_t last_lsn) {
    if (record_plausible(page.from(position), last_lsn)) return position;
    const std::uint32_t next = page.get(page_layout::next_record_offset);
    const std::uint32_t steps =
        next > page_layout::records_begin ? (next - page_layout::records_begin) / search_step + 1 : least_search_steps;
    const std::size_t end = position + std::size_t{search_step} * steps;
    for (position += search_step; position != end && position <= page.size(); position += search_step) {
        if (record_plausible(page.from(position), last_lsn)) return position;
    }
    return 0;
}

void walk_records(log_store& store, uni::byte_view page, std::size_t position, std::uint64_t page_offset) {
    const std::uint64_t last_lsn = page.get(page_layout::last_lsn);
    const bool ends_clean = last_lsn == page.get(page_layout::last_end_lsn);
    for (;;) {
        const std::uint32_t taken = scan_record(store, page.from(position), page_offset + position);
        if (taken == 0) return;
        if (ends_clean) store.carry.drop();  // nothing goes on after this page
        position += taken;
        if (position + least_record_bytes > page.size()) return;
        if (!record_plausible(page.from(position), last_lsn)) return;
    }
}

bool scan_record_page(log_store& store, uni::byte_view page, std::uint64_t page_offset) {
    const std::uint64_t last_lsn = page.get(page_layout::last_lsn);
    std::size_t position = page_layout::records_begin;
    if (is_tail_page(page_offset)) position = keep_tail_names(store, page, page_offset, last_lsn);

    const std::uint64_t previous = std::exchange(store.previous_last_lsn, last_lsn);
    if (last_lsn == previous) {  // a further copy of the page before, or a continuation of it
        scan_record(store, page.from(position), page_offset + position);
        return true;
    }
    if (last_lsn > previous && store.carry.pending()) {
        position += scan_record(store, page.from(position), page_offset + position);
    }
    store.carry.drop();  // the log has wrapped, or the record is still not whole
    position = find_record(page, position, last_lsn);
    if (position == 0) return false;
    walk_records(store, page, position, page_offset);
    return true;
}

void keep_restart_page(log_store& store, uni::byte_view page, std::uint64_t page_offset) {
    restart_page_image& image = store.restart_pages[page_offset == 0 ? 0 : 1];
    if (has_restart_signature(std::span<const std::uint8_t>(image))) return;
    std::copy_n(page.bytes().begin(), image.size(), image.begin());
}

bool scan_page(log_store& store, std::span<std::uint8_t> page, std::uint64_t page_offset) {
    if (page.size() < log_page_size) return false;
    if (has_restart_signature(page)) {
        apply_fixups(page, restart_usa_begin);
        keep_restart_page(store, page, page_offset);
        return true;
    }
    if (!is_record_page(page)) return false;  // foreign or damaged: the next page may be sound
    if (store.keeps_pages) {
        const std::uint16_t array_offset = uni::byte_view(page).get(page_layout::usa_offset);
        const std::uint8_t torn = store.keeps_torn ? 0 : torn_sectors(page, array_offset);
        store.record_pages.push_back({page_offset, page, torn});
    }
    apply_fixups(page, record_usa_begin);
    set_file_offset(page, page_offset);
    return scan_record_page(store, page, page_offset);
}

// Scans the whole pages of a stretch of the log, whose first byte is at `file_offset`, and says how many bytes from its
// start on the entries may show. Long runs without a record give their memory back: a sparse file may claim far more
// than it holds.
std::size_t scan_stretch(log_store& store, std::span<std::uint8_t> stretch, std::uint64_t file_offset) {
    if (store.pages) store.pages->count_pages(stretch, file_offset);  // before repairs
    std::size_t used = 0;
    for (std::size_t at = 0; at + log_page_size <= stretch.size(); at += log_page_size) {
        const std::size_t known = store.entries.size();
        const std::size_t known_pages = store.record_pages.size();
        scan_page(store, stretch.subspan(at, log_page_size), file_offset + at);
        if (store.entries.size() == known && store.record_pages.size() == known_pages) continue;
        if (at - used >= least_released) uni::release_pages(stretch.subspan(used, at - used));
        used = at + log_page_size;
    }
    return used;
}

// What was read without a record is read over.
void scan_blocks(log_store& store, const uni::byte_source& file) {
    store.file_size = file.size();
    if (store.pages) store.pages->file_size = file.size();
    uni::try_reserve(store.entries, std::min<std::uint64_t>(file.size() / smallest_record_size, most_reserved));
    constexpr std::size_t whole_room = SIZE_MAX;
    uni::block_stream blocks(file, {.grain = log_page_size, .block_size = whole_room},
                             [&store] { return store.memory.room(); });
    bool readable = true;  // a failed read ends the log there
    while (readable && blocks.advance()) {
        const uni::block_stream::block block = blocks.read();
        blocks.read_ahead();
        store.memory.keep(block.room, scan_stretch(store, block.bytes, block.offset));
        readable = !block.failed;
    }
    if (!readable) store.incomplete = true;
    store.memory.release_rooms();
    uni::release_room(store.entries);
}

// The order of entries is known while their bytes are at hand.
void note_fall(log_store& store, std::uint32_t position) {
    const std::uint64_t lsn = store.entries[position].this_lsn();
    if (position != 0 && lsn <= store.last_entry_lsn) store.falls.push_back(position);
    store.last_entry_lsn = lsn;
}

template <class maker>
bool add_made(log_store& store, maker&& make) {
    const auto position = static_cast<std::uint32_t>(store.entries.size());
    try {
        store.entries.push_back(make());
        if (store.keeps_pages) {
            note_fall(store, position);
        } else {
            keep_journal_record(store, position);
        }
    } catch (const std::bad_alloc&) {
        store.entries.resize(position);
        store.incomplete = true;
        return false;
    }
    return true;
}

}  // namespace

bool add_record(log_store& store, uni::byte_view record) {
    return add_made(store, [record] { return log_entry::in_page(record); });
}

bool add_joined_record(log_store& store, uni::byte_view bytes, std::uint64_t file_offset) {
    return add_made(store, [&] { return store.memory.keep_joined(bytes, file_offset); });
}

void keep_left_journal_records(log_store& store) {
    if (!store.keeps_pages) return;
    for (std::uint32_t at = 0; at < store.entries.size(); ++at) {
        prefetch_record(store, at);
        keep_journal_record(store, at);
    }
}

void scan_logfile(log_store& store, const uni::byte_source& file) {
    try {
        scan_blocks(store, file);
    } catch (const std::bad_alloc&) {
        store.incomplete = true;
    }
    try {
        if (!store.keeps_pages) link_chains(store);
    } catch (const std::bad_alloc&) {
        store.incomplete = true;
    }
}

bool scan_buffer(log_store& store, uni::byte_view bytes) {
    if (bytes.size() < log_page_size) return false;
    store.file_size = bytes.size();
    if (store.pages) store.pages->file_size = bytes.size();
    for (std::uint64_t offset = 0; offset < bytes.size();) {
        const std::span<std::uint8_t> room = store.memory.room();
        const uni::byte_view part = bytes.slice(offset, room.size());
        std::ranges::copy(part.bytes(), room.begin());
        store.memory.keep(room, scan_stretch(store, room.first(part.size()), offset));
        offset += part.size();
    }
    if (!store.keeps_pages) link_chains(store);
    return true;
}

}  // namespace kest
