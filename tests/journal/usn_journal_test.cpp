#include "journal/usn_journal.h"

#include <filesystem>
#include <gtest/gtest.h>

#include "inputs/input_source.h"
#include "journal/usn_record.h"
#include "support/scratch_folder.h"
#include "support/system.h"
#include "support/usn_image.h"

namespace {

using namespace kest;
using namespace kest::disk;

struct scanned_block : usn_journal {
    explicit scanned_block(const bytes& block) {
        const memory_file input(pack(at{0x30000}, block));
        EXPECT_TRUE(open_journal(*this, open_source({input.path()}).bytes, journal_resync::at_pages));
        scan_journal(*this);
    }
};

bytes of(const usn_image& record) {
    return record.image();
}

usn_entry entry_of(const usn_image& record) {
    return scanned_block(record.image()).entries.at(0);
}

std::vector<u64> keys_of(const usn_journal& journal) {
    std::vector<u64> keys;
    for (const usn_entry& entry : journal.entries)
        keys.push_back(entry.key);
    return keys;
}

TEST(usn_entry, kept_sound_record_of_version_3_is_invalid) {
    for (const u16 version : std::initializer_list<u16>{2, 3, 4}) {
        const usn_entry e = entry_of({.version = version, .name_offset = 60});
        EXPECT_EQ(std::pair(e.reason, e.time), std::pair(0x100u, version == 4 ? u64{0} : 130'000'000'000'000'000));
        EXPECT_EQ(entry_of({.version = version}).reason, version != 3 ? 0x100u : 0u);
    }
}

TEST(usn_entry, stays_cleared_unless_all_tests_hold) {
    constexpr u64 highest = 0xF000'0000'FFFF'FFFE, inode_above = 0x0001'0000'FFFF'FFFF;
    // as version 2; whether valid, and whether as version 4
    const std::tuple<const char*, usn_image, bool, bool> rows[] = {
        {"all at their highest",
         {.file = highest, .parent = highest, .attributes = 0x500000, .name_length = 12},
         true,
         true},
        {"no time", {.time = 0}, false, true},
        {"no number", {.usn = 0}, false, false},
        {"parent inode above", {.parent = inode_above}, false, true},
        {"parent sequence above", {.parent = 0xF001'0000'0000'0005}, false, false},
        {"file inode above", {.file = inode_above}, false, false},
        {"file sequence above", {.file = 0xF001'0000'0000'0028}, false, false},
        {"no file sequence", {.file = 0x28}, false, false},
        {"attributes above", {.attributes = 0x500001}, false, true},
        {"name leaves the record", {.name_length = 13}, false, true},
        {"name length near 65536", {.name_length = 0xFFD0}, true, true},
    };
    for (auto [what, record, valid, valid_as_4] : rows) {
        EXPECT_EQ(entry_of(record).reason, valid ? 0x100u : 0u) << what;
        record.version = 4;
        EXPECT_EQ(entry_of(record).reason, valid_as_4 ? 0x100u : 0u) << what;
    }
}

TEST(usn_journal, kept_later_versions_stand_under_their_parent) {
    const scanned_block journal(
        pack(of({.usn = 0x300}), of({.usn = 0x200, .time = 0}), of({.usn = 0x200}), of({.version = 4})));
    EXPECT_EQ(keys_of(journal), std::vector<u64>({0x200, 0x300, 0x0005'0000'0000'0005}));
    EXPECT_EQ(journal.entries[0].reason, 0u);  // the first of its number, invalid, and a record all the same
}

TEST(usn_journal, goes_on_after_what_is_no_record) {
    const scanned_block journal(pack(of({.usn = 1}), of({.usn = 2, .length = 4097}),
                                     of({.usn = 3}),  // 3 is stepped over
                                     at{3 * 4096}, of({.minor_version = 1, .usn = 4}), at{4 * 4096}, of({.usn = 5}),
                                     part(of({.usn = 6, .length = 80}), 0, 79)));  // a byte too short
    EXPECT_EQ(keys_of(journal), std::vector<u64>({1, 5}));
}

// Holes are stepped over. A record across two blocks of 65536 bytes is lost, and the second is read from its start.
TEST(usn_journal, kept_is_read_by_pages_and_blocks) {
    const scratch_folder folder;
    const bytes image = pack(at{0x41000}, of({.usn = 1}), at{0x4FFC0}, of({.usn = 2, .name = {u'a', u'b', 0}}),
                             at{0x51000}, of({.usn = 3}), at{0x90000}, of({.usn = 4}));
    const std::string path = folder.put("J", std::string(image.begin(), image.end()));
    std::filesystem::resize_file(path, 0x2000000 + 100);
    usn_journal journal;
    ASSERT_TRUE(open_journal(journal, open_source({path}).bytes, journal_resync::at_pages));
    scan_journal(journal);
    EXPECT_EQ(keys_of(journal), std::vector<u64>({1, 3, 4}));

    std::filesystem::resize_file(path, 4096);
    ASSERT_TRUE(open_journal(journal, open_source({path}).bytes, journal_resync::at_pages));
    scan_journal(journal);
    EXPECT_TRUE(journal.entries.empty());
    std::filesystem::resize_file(path, 4095);
    EXPECT_FALSE(open_journal(journal, open_source({path}).bytes, journal_resync::at_pages));
}

// Where records are found, and the bytes that are in none.
using found_records = std::pair<std::vector<u64>, u64>;
found_records found_in(const bytes& image) {
    const memory_file input(image);
    const auto file = open_source({input.path()}).bytes;
    journal_cursor cursor(*file, journal_resync::at_records);
    found_records found;
    while (const journal_record* const record = cursor.next())
        found.first.push_back(record->place);
    found.second = cursor.reading().unread_bytes;
    EXPECT_EQ(cursor.reading().records, found.first.size());
    return found;
}

TEST(journal_cursor, finds_each_record_wherever_a_copy_begins) {
    const std::string sample = contents_of(KEST_SAMPLES "/UsnJrnl_J");
    const bytes whole(sample.begin(), sample.end());
    const found_records all = found_in(whole);
    EXPECT_EQ(all, found_records({all.first, 0}));
    EXPECT_EQ(all.first.size(), 73u);
    for (std::size_t begin = 0; begin < whole.size(); begin += 8) {
        std::vector<u64> expected;
        for (const u64 place : all.first)
            if (place >= begin) expected.push_back(place - begin);
        const found_records found = found_in(part(whole, begin));
        EXPECT_EQ(found.first, expected) << begin;
        EXPECT_LE(found.second, expected.empty() ? whole.size() - begin : expected[0]) << begin;
    }
}

TEST(journal_cursor, judges_a_record_by_its_own_usn_and_what_is_around_it) {
    const auto with_usn = [](u64 usn) { return of({.usn = usn}); };  // 72 bytes
    const bytes first = with_usn(0x1000), second = with_usn(0x1048), third = with_usn(0x1090);
    bytes long_one = second, of_no_file = second, other_usn = second;
    put(long_one, 0, u32{4096});
    put(of_no_file, 8, u64{0x28});
    put(other_usn, 24, u64{0x7701});
    const bytes inside = of({.file = 0x0001'0000'0000'0077, .usn = 0x9100});
    bytes outside = of({.usn = 0x1048, .name = std::u16string(38, u'n')});  // 136 bytes
    lay(outside, 64, inside);
    put(outside, 4, u16{9});
    const bytes version_3 = of({.version = 3, .usn = 0x1FB8}), longer = of({.version = 3, .usn = 0x2000});
    const std::tuple<const char*, bytes, std::vector<u64>, u64> rows[] = {
        {"nothing", {}, {}, 0},
        {"a record", first, {0}, 0},
        {"cut off", part(first, 0, 70), {}, 70},
        {"a piece of one", pack(part(first, 56), second, third), {16, 88}, 16},
        {"a long length", pack(first, long_one, third), {0, 144}, 72},
        {"no file", pack(first, of_no_file, third), {0, 144}, 72},
        {"a damaged USN", pack(first, other_usn, third), {0, 72, 144}, 0},
        {"pages left out", pack(first, at{4096}, with_usn(0x9000)), {0, 4096}, 0},
        {"records left out", pack(first, with_usn(0x1900)), {0, 72}, 0},
        {"ends of pages left out", pack(with_usn(0x1F80), with_usn(0x2000), u64{1}, with_usn(0x2048)), {0, 72, 152}, 8},
        {"longer than in the journal", pack(u64{1}, version_3, longer), {8, 96}, 8},
        {"a record in a name", pack(first, outside, with_usn(0x10D0)), {0, 208}, 136},
        {"likewise, in a piece", pack(part(outside, 8), with_usn(0x10D0)), {128}, 128},
        {"between damaged ones", pack(part(first, 56), second, bytes(72, 0xFF), with_usn(0x10D8)), {16, 160}, 88},
        {"stands across two pages", pack(first, u64{1}, with_usn(0x1FC8)), {0}, 80},
        {"over blocks", pack(at{0xFFFC8}, with_usn(0x50'0000), at{0x220000}, with_usn(0x5000)), {0xFFFC8, 0x220000}, 0},
    };
    for (const auto& [what, image, found, unread] : rows)
        EXPECT_EQ(found_in(image), found_records(found, unread)) << what;
}

TEST(usn_record, is_known_by_version_and_length) {
    const std::tuple<u16, u16, u32, bool> rows[] = {
        {2, 0, 61, false}, {2, 0, 62, true},  {2, 0, 4096, true}, {2, 0, 4097, false}, {2, 1, 62, false},
        {3, 0, 77, false}, {3, 0, 78, true},  {4, 0, 63, false},  {4, 0, 64, true},    {4, 0, 0xFFFFFFFF, false},
        {1, 0, 96, false}, {5, 0, 96, false}, {0, 0, 0, false},
    };
    for (const auto& [version, minor_version, length, known] : rows) {
        const bytes image = usn_image{.version = version, .minor_version = minor_version, .length = length}.image();
        EXPECT_EQ(is_usn_record(uni::byte_view{image}), known) << version << ' ' << length;
    }
}

// Every prefix of a record, each in memory of just its size: which sizes tell more than the one before. A field counts
// from its first byte on, and one that is not wholly there is 0.
TEST(usn_record, is_parsed_as_far_as_it_goes) {
    using list = std::vector<std::size_t>;
    const std::pair<u16, list> rows[] = {{2, {16, 17, 24, 32, 40, 53, 56, 61, 62, 64, 66, 68, 70}},
                                         {3, {16, 25, 32, 48, 56, 69, 72, 77, 78, 80, 82, 84, 86}},
                                         {4, {16, 25, 32, 48, 49}}};
    for (const auto& [version, expected] : rows) {
        const bytes image = usn_image{.version = version, .attributes = 0x16, .name = u"\u00fc.txt"}.image();
        list found;
        for (std::size_t size = 0; size <= image.size(); ++size) {
            const auto reported = [&image](std::size_t length) {
                inode_record r;
                const bytes beginning = part(image, 0, length);
                const bool whole = parse_usn_record(r, uni::byte_view{beginning});
                return std::tuple(whole, bool{r.in_use}, r.ref(), r.parents.size(), r.first_parent(), r.usn,
                                  r.si_times.modified, bool{r.is_directory}, r.flags, r.name);
            };
            if (size != 0 && reported(size) != reported(size - 1)) found.push_back(size);
        }
        EXPECT_EQ(found, expected) << version;
    }
}

TEST(usn_record, kept_deleted_file_counts_as_in_use) {
    const bytes image = usn_image{.reason = 0x80000200}.image();
    inode_record record;
    EXPECT_TRUE(parse_usn_record(record, uni::byte_view{image}) && record.in_use && record.flags == 0);
}

TEST(usn_record, masks_become_words) {
    const auto words = [](void (*append)(std::string&, std::uint32_t), std::uint32_t mask) {
        std::string text;
        append(text, mask);
        return text;
    };
    EXPECT_EQ(reason_text(0x80000100, false), "file_created");
    EXPECT_EQ(reason_text(0x80000100, true), "file_created; file_closed");
    EXPECT_EQ(reason_text(0x7FC00088, false), "");  // bits without a word
    EXPECT_EQ(reason_text(0x7FC00088, true), "unk");
    EXPECT_EQ(reason_text(0x003FFF77, false),
              "data_overwritten; data_appended; data_truncated; ads_data_overwritten; ads_data_appended; "
              "ads_data_truncated; file_created; file_deleted; extended_attrib_changed; access_changed; file_old_name; "
              "file_new_name; context_indexed_changed; basic_info_changed; hardlink_changed; compression_changed; "
              "encryption_changed; objid_changed; reparse_changed; ads_added_or_deleted");
    EXPECT_EQ(words(append_attribute_text, 0xFFFFFFFF),
              "readonly; hidden; system; dir; archive; device; normal; temp; sparse; symlink; compressed; offline; "
              "not_indexed; encrypted; virtual");
    EXPECT_EQ(words(append_attribute_text, 0x8), "unk");
    EXPECT_EQ(words(append_source_text, 0xF), "os_file_change, priv_data_stream_added, update_replicated_file");
    EXPECT_EQ(words(append_source_text, 0), "-");
}

}  // namespace
