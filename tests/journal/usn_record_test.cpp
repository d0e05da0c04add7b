#include "journal/usn_record.h"

#include <gtest/gtest.h>

#include "support/usn_image.h"

namespace {

using kest::disk::bytes;
using kest::disk::usn_image;

constexpr std::size_t never = 1000;  // a size that no record reaches

TEST(usn_record, is_known_by_version_and_length) {
    struct row {
        std::uint16_t version, minor_version;
        std::uint32_t length;
        bool known;
    };
    const row rows[] = {
        {2, 0, 61, false}, {2, 0, 62, true},  {2, 0, 4096, true}, {2, 0, 4097, false}, {2, 1, 62, false},
        {3, 0, 77, false}, {3, 0, 78, true},  {4, 0, 63, false},  {4, 0, 64, true},    {4, 0, 0xFFFFFFFF, false},
        {1, 0, 96, false}, {5, 0, 96, false}, {0, 0, 0, false},
    };
    for (const row& t : rows) {
        const bytes image =
            usn_image{.version = t.version, .minor_version = t.minor_version, .length = t.length}.image();
        EXPECT_EQ(kest::is_usn_record(uni::byte_view{image}), t.known) << t.version << ' ' << t.length;
    }
}

// Every prefix of a record, each in memory of just its size: a field counts from its first byte on, and one that is
// not wholly there is 0.
TEST(usn_record, is_parsed_as_far_as_it_goes) {
    struct row {
        std::uint16_t version;
        std::size_t parent, usn, time, attributes, name, whole;  // least size
    };
    for (const row& t :
         {row{2, 17, 25, 33, 53, 61, 61}, {3, 25, 41, 49, 69, 77, 77}, {4, 25, 41, never, never, never, 49}}) {
        const bytes image = usn_image{.version = t.version, .attributes = 0x16, .name = u"\u00fc.txt"}.image();
        for (std::size_t size = 0; size <= image.size(); ++size) {
            SCOPED_TRACE(testing::Message() << "version " << t.version << ", " << size << " bytes");
            const bytes part(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(size));
            const auto shown = [size](std::size_t least, std::size_t width, std::uint64_t value) {
                return size >= least - 1 + width ? value : 0;
            };
            kest::inode_record record;
            EXPECT_EQ(kest::parse_usn_record(record, uni::byte_view{part}), size >= t.whole);
            EXPECT_EQ(record.in_use, size >= t.whole);
            EXPECT_EQ(record.ref().value(), shown(9, 8, 0x0003'0000'0000'0028));
            ASSERT_EQ(record.parents.size(), size >= t.parent ? 1u : 0u);
            EXPECT_EQ(record.first_parent().value(), shown(t.parent, 8, 0x0005'0000'0000'0005));
            EXPECT_EQ(record.usn, shown(t.usn, 8, 0x140000));
            EXPECT_EQ(record.si_times.modified, shown(t.time, 8, 130'000'000'000'000'000));
            EXPECT_EQ(record.is_directory, shown(t.attributes, 4, 1) != 0);
            EXPECT_EQ(record.flags, size < t.attributes ? 0u : shown(t.attributes, 4, 6) | 1);
            const std::size_t units = size < t.name ? 0 : std::min<std::size_t>((size - t.name + 1) / 2, 5);
            EXPECT_EQ(record.name, std::string("\u00fc.txt").substr(0, units == 0 ? 0 : units + 1));
        }
    }
}

TEST(usn_record, kept_deleted_file_counts_as_in_use) {
    const bytes image = usn_image{.reason = 0x80000200}.image();
    kest::inode_record record;
    ASSERT_TRUE(kest::parse_usn_record(record, uni::byte_view{image}));
    EXPECT_TRUE(record.in_use);
    EXPECT_EQ(record.flags, 0u);
}

TEST(usn_record, masks_become_words) {
    EXPECT_EQ(kest::reason_text(0x80000100, false), "file_created");
    EXPECT_EQ(kest::reason_text(0x80000100, true), "file_created; file_closed");
    EXPECT_EQ(kest::reason_text(0x7FC00088, false), "");  // bits without a word
    EXPECT_EQ(kest::reason_text(0x7FC00088, true), "unk");
    EXPECT_EQ(kest::reason_text(0x80000000, false), "");
    EXPECT_EQ(kest::reason_text(0x003FFF77, false),
              "data_overwritten; data_appended; data_truncated; ads_data_overwritten; ads_data_appended; "
              "ads_data_truncated; file_created; file_deleted; extended_attrib_changed; access_changed; file_old_name; "
              "file_new_name; context_indexed_changed; basic_info_changed; hardlink_changed; compression_changed; "
              "encryption_changed; objid_changed; reparse_changed; ads_added_or_deleted");
    EXPECT_EQ(kest::attribute_text(0xFFFFFFFF),
              "readonly; hidden; system; dir; archive; device; normal; temp; sparse; symlink; compressed; offline; "
              "not_indexed; encrypted; virtual");
    EXPECT_EQ(kest::attribute_text(0x8), "unk");
    EXPECT_EQ(kest::source_text(0xF), "os_file_change, priv_data_stream_added, update_replicated_file");
    EXPECT_EQ(kest::source_text(0), "-");
}

}  // namespace
