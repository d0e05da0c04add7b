#include "support/decoded.h"

namespace kest {
namespace {

using namespace disk;

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

}  // namespace
}  // namespace kest
