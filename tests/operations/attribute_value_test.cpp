#include "support/decoded.h"

namespace kest::disk {
namespace {

bytes list_entry(u32 type, u16 length, std::u16string_view name = {}) {
    return pack(type, length, static_cast<u8>(name.size()), u8{26}, u64{0x11}, u64{0x00030000000000FF}, u16{4}, name,
                at{length});
}

const std::string fields = R"("lowest_vcn":"0x11";"inode":"255";"seq":"3";"id":"0x04")";

TEST(attribute_list, kept_groups_close_once) {
    const bytes list = pack(list_entry(0x10, 32), list_entry(0x80, 40, u"abc"), list_entry(0x20, 32));
    EXPECT_EQ(value_text(0x20, list),
              "$stdinfo=[" + fields + ";$data=[" + fields + R"(;"name":"abc";attriblist=[)" + fields + "]");
    const entry_info info = decode(5, attribute_of(0x20, list));
    EXPECT_EQ(info.inode, inode_ref(0xFF, 0));
    EXPECT_EQ(info.name, "abc");
}

TEST(attribute_list, kept_long_lists_are_not_shown) {
    EXPECT_EQ(value_text(0x20, bytes(31)), "");
    EXPECT_EQ(value_text(0x20, bytes(1024)), "");
    EXPECT_NE(value_text(0x20, bytes(1023)), "");
    const bytes stopped = pack(list_entry(0xFFFFFFFF, 32), at{4}, u16{0}, at{32}, list_entry(0x10, 32));
    EXPECT_EQ(value_text(0x20, stopped), "ntfs_attribute_end_marker=[" + fields + "]");
}

// Of 64 bytes the first entry leaves 32; but 26 + 2 x 3 and the next entry's 32 count as walked.
TEST(attribute_list, kept_cut_lists_are_measured_twice) {
    const bytes list = pack(list_entry(0x10, 32), list_entry(0x30, 32));
    const auto groups = [](const bytes& value) {
        const bytes attribute = pack(attribute_of(0x20, value), at{4}, u32{500}, at{16}, u32{0});
        const std::string shown = text(decode(2, pack(at{20}, u16{56}, at{56}, attribute)));
        return shown.substr(std::min(shown.find("$"), shown.size()));
    };
    EXPECT_EQ(groups(list), "$stdinfo=[" + fields + "]");
    EXPECT_EQ(groups(pack(list, at{97})), "$stdinfo=[" + fields + ";$filename=[]");
    EXPECT_EQ(groups(pack(list, at{123})), "$stdinfo=[" + fields + ";$filename=[" + fields + "]");
}

TEST(object_id, shows_one_or_four) {
    bytes value;
    for (u8 byte = 0xA0; byte < 0xE0; ++byte)
        value.push_back(byte);
    EXPECT_EQ(value_text(0x40, value), R"($OBJECT_ID=["object_id":"a3a2a1a0-a5a4-a7a6-a8a9-aaabacadaeaf";)"
                                       R"("birth_volume_id":"b3b2b1b0-b5b4-b7b6-b8b9-babbbcbdbebf";)"
                                       R"("birth_object_id":"c3c2c1c0-c5c4-c7c6-c8c9-cacbcccdcecf";)"
                                       R"("birth_domain_id":"d3d2d1d0-d5d4-d7d6-d8d9-dadbdcdddedf"])");
    EXPECT_EQ(value_text(0x40, bytes(63)), "");
    EXPECT_EQ(first_shown_of_value(0x40, value),
              " object_id 16, birth_volume_id 64, birth_object_id 64, birth_domain_id 64");
}

bytes reparse(u32 tag, u16 substitute, u16 print, const bytes& names) {
    return pack(tag, u32{99}, substitute, u16{4}, print, u16{2}, names);
}

TEST(reparse_point, kept_names_are_looked_for_behind_zeros) {
    constexpr u32 mount_point = 0xA0000003;
    const std::string point = R"($REPARSE_POINT=["tag":"0xA0000003")";
    const std::vector<shown_row> rows = {
        {"mount point", reparse(mount_point, 0, 4, pack(u"abc")), R"(;"substitute_name":"ab";"print_name":"c"])"},
        {"no data", pack(reparse(mount_point, 0, 4, pack(u"abc")), at{4}, u16{0}), "]"},
        {"zeros ahead", reparse(mount_point, 0, 4, pack(u32{0}, u"abc")),
         R"(;"substitute_name":"ab";"print_name":"c"])"},
        {"zeros to the end", reparse(mount_point, 0, 0, bytes(9)), "]"},
        {"names outside", reparse(mount_point, 0xFFFF, 0xFFFE, pack(u"abc")), "]"},
        {"cut within a unit", reparse(mount_point, 0, 9, pack(u"a", u8{'b'})), R"(;"substitute_name":"a"])"},
    };
    for (const shown_row& t : rows) {
        EXPECT_EQ(value_text(0xC0, t.redo), point + t.expected) << t.what;
    }
    EXPECT_EQ(value_text(0xC0, reparse(0xA000000C, 2, 0, pack(u32{1}, u"pab"))),
              R"($REPARSE_POINT=["tag":"0xA000000C";"substitute_name":"ab";"print_name":"p"])");
    EXPECT_EQ(value_text(0xC0, bytes(15, 1)), "");
    EXPECT_EQ(first_shown_of_value(0xC0, reparse(mount_point, 4, 0, pack(u"pqab"))),
              " tag 0, print_name 21, substitute_name 22");
}

TEST(volume_information, kept_versions_are_characters) {
    const bytes value = pack(at{8}, u8{3}, u8{'1'}, u16{0x8001});
    EXPECT_EQ(value_text(0x70, value),
              "$VOLUME_INFORMATION=[\"major_version\":\"\x03\";\"minor_version\":\"1\";"
              "\"flags\":\"dirty ;chkdsk modified\"]");
    EXPECT_NE(value_text(0x70, pack(at{10}, u16{0x3E}))
                  .find(R"("resize_log ;upgrade_on_mount ;mounted_on_nt4 ;delete_usn ;repair_object_ids")"),
              std::string::npos);
    EXPECT_NE(value_text(0x70, bytes(12)).find(R"("flags":"")"), std::string::npos);
    EXPECT_EQ(value_text(0x70, bytes(11)), "");
    EXPECT_EQ(first_shown_of_value(0x70, value), " major_version 9, minor_version 10");
}

constexpr u64 noon = 132'223'536'000'000'000;  // 2020-01-01
constexpr u64 second = 10'000'000;

const bytes four_times = pack(noon, noon + second, noon + 2 * second, noon + 3 * second);
const std::string created = R"("created":"2020-01-01 12:00:00.000")";
const std::string modified = R"("modified":"2020-01-01 12:00:01.000")";
const std::string times =
    created + ";" + modified + R"(;"mft_changed":"2020-01-01 12:00:02.000";"accessed":"2020-01-01 12:00:03.000")";

TEST(standard_information, shows_what_there_is) {
    const bytes value = pack(four_times, u32{0x10000020}, at{48}, u32{1}, u32{0x105}, u64{2}, u64{0x123456});
    EXPECT_EQ(value_text(0x10, value), "$STANDARD_INFORMATION=[" + times +
                                           R"(;"flags":"ARCHIVE, DIRECTORY";"owner_id":"0x01";"security_id":"0x0105";)"
                                           R"("quota_charged":"0x02";"usn":"0x123456"])");
    EXPECT_EQ(value_text(0x10, bytes(71)), "");
    const entry_info info = decode(5, attribute_of(0x10, value));
    const kest::file_times& found = info.std_times;
    EXPECT_EQ(std::tuple(found.created, found.modified, found.mft_changed, found.accessed, info.std_flags),
              std::tuple(noon, noon + second, noon + 2 * second, noon + 3 * second, 0x10000020u));
    EXPECT_EQ(
        first_shown_of_value(0x10, value),
        " created 0, modified 9, mft_changed 17, accessed 25, owner_id 49, security_id 53, quota_charged 57, usn 65");
}

TEST(standard_information, kept_two_bits_read_directory) {
    const std::pair<u32, std::string> rows[] = {
        {0x8, "unk"},
        {0, "none set"},
        {0x10000010, "DIRECTORY, DIRECTORY"},
        {0x76EF,
         "READ_ONLY, HIDDEN, SYSTEM, ARCHIVE, DEVICE, NORMAL, SPARSE_FILE, REPARSE_PT, OFFLINE, "
         "CONTENT_NOT_INDEXED, ENCRYPTED"},
        {0x10900, "TEMPORARY, COMPRESSED, VIRTUAL"}};
    for (const auto& [flags, words] : rows) {
        EXPECT_NE(value_text(0x10, pack(at{32}, flags, at{72})).find("\"flags\":\"" + words + '"'), std::string::npos);
    }
}

TEST(resident_update, kept_takes_the_place_for_the_attribute) {
    const std::tuple<u16, u16, bytes, std::string> rows[] = {
        {56, 24, pack(noon), created},
        {0, 88, pack(noon + second), modified},
        {0, 112, pack(u64{0x20}), R"("flags":"ARCHIVE")"},
        {0, 114, pack(u64{0}), ""},
        {0, 144, pack(u64{0x77}), R"("owner_id":"0x00";"security_id":"0x00";"quota_charged":"0x00";"usn":"0x77")"},
        {0, 152, pack(u64{1}), R"("owner_id":"0x00";"security_id":"0x00";"quota_charged":"0x00";"usn":"0x00")"},
    };
    for (const auto& [record_offset, attribute_offset, redo, shown] : rows) {
        const record shape{.record_offset = record_offset, .attribute_offset = attribute_offset};
        EXPECT_EQ(text(decode(7, redo, true, shape)), "$STANDARD_INFORMATION=[" + shown + "]") << attribute_offset;
    }
    EXPECT_EQ(text(decode(7, bytes(8), true, {.attribute_offset = 153})), "");
    EXPECT_EQ(text(decode(7, bytes(8), true, {.attribute_offset = 79})), "");
    EXPECT_EQ(text(decode(7, bytes(7), true, {.attribute_offset = 80})), "");
}

bytes name_value(std::u16string_view name) {
    return pack(u64{0x0005000000000006}, four_times, u64{0x1000}, u64{0x234}, u32{0x20}, u32{9},
                static_cast<u8>(name.size()), u8{2}, name);
}

const std::string sizes = R"(;"allocated_size":"0x1000";"real_size":"0x0234";"flags":"0x20";"reparse_value":"0x09")";

TEST(file_name, kept_flags_are_a_number) {
    const bytes value = name_value(u"\u00e9.txt");
    const std::string parent = R"($FILE_NAME=["parent_inode":"0x06";"parent_seq":"0x05";)";
    EXPECT_EQ(value_text(0x30, value), parent + times + sizes + ";\"name\":\"\u00e9.txt\"]");
    EXPECT_EQ(value_text(0x30, name_value({u"\0b", 2})), parent + times + sizes + R"(;"name":""])");
    EXPECT_EQ(value_text(0x30, bytes(67)), "");
    const entry_info info = decode(5, attribute_of(0x30, value));
    EXPECT_EQ(std::tuple(info.parent, info.name_times.created, info.name_times.latest(), info.name_alloc_size),
              std::tuple(inode_ref(6, 5), noon, noon + 3 * second, 0x1000u));
    EXPECT_EQ(std::tuple(info.name_flags, info.name), std::tuple(0x20u, "\u00e9.txt"));
    EXPECT_EQ(first_shown_of_value(0x30, name_value(u"ab")),
              " parent_inode 1, parent_seq 1, created 9, modified 17, mft_changed 25, accessed 33, "
              "allocated_size 41, real_size 49, reparse_value 61, name 70");
}

TEST(duplicated_information, kept_flags_are_stored_unseen) {
    const bytes value = name_value(u"a");
    const bytes duplicated(value.begin() + 8, value.end());
    EXPECT_EQ(text(decode(19, duplicated)), "$FILE_NAME=[" + times + sizes + R"(;"name":"a"])");
    EXPECT_EQ(decode(20, duplicated).name, "a");
    EXPECT_EQ(decode(20, bytes(48, 1)).name_flags, 0u);
    EXPECT_EQ(first_shown(20, bytes(600, 0x41)),
              " created 24, modified 24, mft_changed 24, accessed 25, allocated_size 33, real_size 41, flags 49, "
              "reparse_value 53, name 188");
    EXPECT_NE(first_shown(20, duplicated).find(" name 59"), std::string::npos);  // half of its one unit suffices
}

}  // namespace
}  // namespace kest::disk
