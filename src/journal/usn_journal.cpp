#include "journal/usn_journal.h"

#include <algorithm>
#include <new>
#include <utility>

#include "mft/inode_ref.h"
#include "portable/large_pages.h"

namespace kest {

namespace {

constexpr std::uint64_t least_file_size = 4096;
constexpr std::uint64_t least_record_size = 62;   // bytes
constexpr std::uint64_t most_reserved = 1 << 22;  // entries

constexpr std::uint64_t highest_inode = 0xFFFF'FFFE;
constexpr std::uint16_t highest_sequence = 61'440;
constexpr std::uint32_t highest_attributes = 5'242'880;

// Kept: the name offset must be that of version 2 in version 3 too, so sound records of version 3 come out invalid.
constexpr std::uint16_t name_offset_wanted = 60;
// Kept: rows look a record up by what stands here in every version, though only version 2 has its update sequence
// number in this place. Later versions have their parent reference there.
constexpr uni::field<std::uint64_t> usn_key{24};

bool references_plausible(inode_ref file, inode_ref parent) {
    return file.number() <= highest_inode && file.sequence() >= 1 && file.sequence() <= highest_sequence &&
           parent.sequence() <= highest_sequence;
}

// The tests of what version 4 lacks.
bool details_plausible(const usn_record& record) {
    if (record.get(&usn_layout::time) == 0) return false;
    if (record.parent().number() > highest_inode) return false;
    if (record.get(&usn_layout::name_offset) != name_offset_wanted) return false;
    if (record.get(&usn_layout::file_attributes) > highest_attributes) return false;
    // Kept: the sum is one of 16 bits, so a name length near 65536 passes.
    const auto name_end = static_cast<std::uint16_t>(record.get(&usn_layout::name_length) + name_offset_wanted);
    return record.length() >= name_end;
}

bool record_sound(const usn_record& record) {
    return record.get(&usn_layout::usn) != 0 && references_plausible(record.file(), record.parent()) &&
           (!record.has(&usn_layout::name) || details_plausible(record));
}

usn_entry entry_of(const usn_record& record) {
    usn_entry entry = {.key = record.bytes().get(usn_key)};
    if (!record_sound(record)) return entry;
    entry.time = record.get(&usn_layout::time);
    entry.reason = record.get(&usn_layout::reason);
    return entry;
}

// A journal is a hole with its data after it; how much of that is data is not known.
void reserve_entries(usn_journal& journal) {
    const std::uint64_t bytes = journal.file->size() - journal.file->next_data(0);
    const auto count = static_cast<std::size_t>(std::min(bytes / least_record_size, most_reserved));
    uni::try_reserve(journal.entries, count);
}

}  // namespace

bool open_journal(usn_journal& journal, std::shared_ptr<const uni::byte_source> file, journal_resync resync) {
    journal.entries.clear();
    journal.reading = {};
    journal.resync = resync;
    journal.file = std::move(file);
    return resync != journal_resync::at_pages || journal.file->size() >= least_file_size;
}

void scan_journal(usn_journal& journal) {
    try {
        reserve_entries(journal);
        journal_cursor cursor(*journal.file, journal.resync);
        while (const journal_record* const record = cursor.next())
            journal.entries.push_back(entry_of(record->usn));
        journal.reading = cursor.reading();
    } catch (const std::bad_alloc&) {
        journal.reading.incomplete = true;  // what was found up to here stands
    }
    uni::seal_unique_by_key(journal.entries);
}

std::optional<journal_fact> lookup_journal(const usn_journal& journal, std::uint64_t usn) {
    if (usn == 0) return std::nullopt;
    const auto found = std::ranges::lower_bound(journal.entries, usn, {}, &usn_entry::key);
    if (found == journal.entries.end() || found->key != usn) return std::nullopt;
    return journal_fact{.time = found->time, .reason = found->reason};
}

}  // namespace kest
