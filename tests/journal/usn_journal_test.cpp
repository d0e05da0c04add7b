#include "journal/usn_journal.h"

#include <filesystem>
#include <gtest/gtest.h>

#include "support/scratch_folder.h"
#include "support/usn_image.h"

namespace {

using kest::usn_entry;
using kest::disk::journal_image;
using kest::disk::usn_image;

constexpr std::uint64_t block_offset = 0x30000;

struct scanned_block : kest::usn_journal {
    explicit scanned_block(const journal_image& block) {
        kest::scan_journal_block(*this, uni::byte_view{block.image}, block_offset);
        journal_by_usn.seal_unique();
        journal_by_inode.seal_unique();
    }
};

usn_entry entry_of(const usn_image& record) {
    return scanned_block(journal_image{}.record(record)).entries.at(0);
}

TEST(usn_entry, holds_the_fields_of_its_version) {
    for (const std::uint16_t version : std::initializer_list<std::uint16_t>{2, 3, 4}) {
        SCOPED_TRACE(version);
        const usn_entry entry = entry_of({.version = version, .name_offset = 60});
        EXPECT_TRUE(entry.valid);
        EXPECT_EQ(entry.file_reference, 0x0003'0000'0000'0028u);
        EXPECT_EQ(entry.parent_reference, 0x0005'0000'0000'0005u);
        EXPECT_EQ(entry.usn, 0x140000u);
        EXPECT_EQ(entry.reason, 0x100u);
        EXPECT_EQ(entry.source_info, 2u);
        EXPECT_EQ(entry.time, version == 4 ? 0 : 130'000'000'000'000'000u);
        EXPECT_EQ(entry.security_id, version == 4 ? 0 : 0x107u);
        EXPECT_EQ(entry.file_attributes, version == 4 ? 0 : 0x20u);
        EXPECT_EQ(entry.name_length, version == 4 ? 0 : 10);
        EXPECT_EQ(entry.name_offset, version == 4 ? 0 : version == 3 ? 76 : 60);
    }
}

TEST(usn_entry, stays_cleared_unless_all_tests_hold) {
    struct row {
        const char* what;
        usn_image record;
        bool valid, valid_as_4;
    };
    const row rows[] = {
        {"all at their highest",
         {.file = 0xF000'0000'FFFF'FFFE, .parent = 0xF000'0000'FFFF'FFFE, .attributes = 0x500000, .name_length = 12},
         true,
         true},
        {"no time", {.time = 0}, false, true},
        {"no number", {.usn = 0}, false, false},
        {"parent inode above", {.parent = 0x0001'0000'FFFF'FFFF}, false, true},
        {"parent sequence above", {.parent = 0xF001'0000'0000'0005}, false, false},
        {"file inode above", {.file = 0x0001'0000'FFFF'FFFF}, false, false},
        {"file sequence above", {.file = 0xF001'0000'0000'0028}, false, false},
        {"no file sequence", {.file = 0x28}, false, false},
        {"attributes above", {.attributes = 0x500001}, false, true},
        {"name leaves the record", {.name_length = 13}, false, true},
    };
    for (row t : rows) {
        SCOPED_TRACE(t.what);
        const usn_entry entry = entry_of(t.record);
        EXPECT_EQ(entry.valid, t.valid);
        EXPECT_EQ(entry.file_offset, t.valid ? block_offset : 0);
        EXPECT_EQ(entry.reason, t.valid ? 0x100u : 0u);
        t.record.version = 4;
        EXPECT_EQ(entry_of(t.record).valid, t.valid_as_4);
    }
}

TEST(usn_entry, kept_sound_record_of_version_3_is_invalid) {
    EXPECT_FALSE(entry_of({.version = 3}).valid);
    EXPECT_TRUE(entry_of({.version = 3, .name_offset = 60}).valid);
}

TEST(usn_entry, kept_long_name_is_cut_to_ten_characters) {
    EXPECT_EQ(entry_of({.name = std::u16string(201, u'n'), .name_length = 401}).name_length, 400);
    EXPECT_EQ(entry_of({.name = std::u16string(201, u'n')}).name_length, 20);
}

TEST(usn_entry, kept_name_length_near_65536_passes) {
    const usn_entry entry = entry_of({.name_length = 0xFFD0});
    EXPECT_TRUE(entry.valid);
    EXPECT_EQ(entry.name_length, 12);  // no more than is there
}

TEST(usn_journal, first_record_of_a_key_stays_in_the_indexes) {
    const scanned_block journal(
        journal_image{}.record({.usn = 0x300}).record({.usn = 0x200, .time = 0}).record({.usn = 0x200}));
    EXPECT_EQ(journal.entries.size(), 3u);
    EXPECT_EQ(journal.journal_by_usn.size(), 2u);
    EXPECT_EQ(journal.journal_by_usn.find(0x200), 1u);  // invalid, and a record all the same
    EXPECT_EQ(journal.journal_by_inode.size(), 1u);
    EXPECT_EQ(journal.journal_by_inode.find(0x28), 0u);
}

TEST(usn_journal, kept_later_versions_stand_under_their_parent) {
    const scanned_block journal(journal_image{}.record({.version = 4}));
    EXPECT_FALSE(journal.journal_by_usn.find(0x140000));
    EXPECT_EQ(journal.journal_by_usn.find(0x0005'0000'0000'0005), 0u);
}

TEST(usn_journal, goes_on_behind_what_is_no_record) {
    journal_image image;
    image.record({.usn = 1}).record({.usn = 2, .length = 4097}).record({.usn = 3});  // 3 is stepped over
    image.zeros_up_to(3 * 4096).record({.minor_version = 1, .usn = 4}).zeros_up_to(4 * 4096).record({.usn = 5});
    image.record({.usn = 6, .length = 80}).zeros_up_to(4 * 4096 + 151);  // 6 is a byte too short
    const scanned_block journal(image);
    ASSERT_EQ(journal.entries.size(), 2u);
    EXPECT_EQ(journal.entries[1].usn, 5u);
    EXPECT_EQ(journal.entries[1].file_offset, block_offset + 4 * 4096);
}

// Holes are stepped over. A record across two blocks of 65536 bytes is lost, and the second is read from its start.
TEST(usn_journal, is_read_in_blocks) {
    const kest::disk::scratch_folder folder;
    journal_image image;
    image.zeros_up_to(0x41000).record({.usn = 1}).zeros_up_to(0x4FFC0).record({.usn = 2, .name = {u'a', u'b', 0}});
    image.zeros_up_to(0x51000).record({.usn = 3}).zeros_up_to(0x90000).record({.usn = 4});
    const std::string path = folder.put("J", std::string(image.image.begin(), image.image.end()));
    std::filesystem::resize_file(path, 0x2000000 + 100);
    kest::usn_journal journal;
    ASSERT_TRUE(kest::open_journal(journal, path));
    EXPECT_TRUE(kest::scan_journal(journal));
    ASSERT_EQ(journal.entries.size(), 3u);
    EXPECT_EQ(journal.entries[0].file_offset, 0x41000u);
    EXPECT_EQ(journal.entries[1].file_offset, 0x51000u);
    EXPECT_EQ(journal.journal_by_usn.find(4), 2u);

    std::filesystem::resize_file(path, 4096);
    ASSERT_TRUE(kest::open_journal(journal, path));
    EXPECT_FALSE(kest::scan_journal(journal));
    std::filesystem::resize_file(path, 4095);
    EXPECT_FALSE(kest::open_journal(journal, path));
}

}  // namespace
