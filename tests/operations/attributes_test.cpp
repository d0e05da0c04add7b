#include "support/decoded.h"

namespace kest::disk {
namespace {

// Values, with nothing behind them, of attributes of these types.
void expect_values(const std::vector<std::tuple<const char*, u32, bytes, std::string>>& rows) {
    for (const auto& [what, type, value, expected] : rows) {
        const std::string shown = decoded(5, attribute_of(type, value)).text;
        EXPECT_EQ(shown.substr(std::min(shown.find(']') + 2, shown.size())), expected) << what;
    }
}

// An attribute that claims more bytes than there are, in a file record.
bytes cut_attribute(u32 type, const bytes& value) {
    return pack(at{20}, u16{56}, at{56}, attribute_of(type, value), at{60}, u32{500}, at{72}, u32{0});
}

bytes list_entry(u32 type, u16 length, std::u16string_view name = {}) {
    return pack(type, length, static_cast<u8>(name.size()), u8{26}, u64{0x11}, u64{0x00030000000000FF}, u16{4}, name,
                at{length});
}

TEST(attribute_list, kept_groups_close_once_and_cut_lists_are_measured_twice) {
    const std::string fields = R"("lowest_vcn":"0x11";"inode":"255";"seq":"3";"id":"0x04")";
    const bytes three = pack(list_entry(0x10, 32), list_entry(0x80, 40, u"abc"), list_entry(0x20, 32));
    const bytes stopped = pack(list_entry(0xFFFFFFFF, 32), at{4}, u16{25}, at{32}, list_entry(0x10, 32));
    const std::string shown =
        "$stdinfo=[" + fields + ";$data=[" + fields + R"(;"name":"abc";attriblist=[)" + fields + "]";
    expect_values({{"three", 0x20, three, shown},
                   {"length 0", 0x20, stopped, "ntfs_attribute_end_marker=[" + fields + "]"},
                   {"31 bytes", 0x20, bytes(31), ""},
                   {"1024 bytes", 0x20, bytes(1024), ""}});
    EXPECT_NE(decoded(5, attribute_of(0x20, bytes(1023))).text.find("lowest_vcn"), std::string::npos);
    EXPECT_EQ(decoded(5, attribute_of(0x20, three)).info.inode, inode_ref(0xFF, 0));

    // Of 64 bytes the first entry leaves 32; but 26 + 2 x 3 and the next entry's 32 count as walked.
    const std::string one = "$stdinfo=[" + fields, two = one + ";$filename=[";
    const std::pair<std::size_t, std::string> rows[] = {{64, one}, {97, two}, {123, two + fields}};
    for (const auto& [size, groups] : rows) {
        const bytes list = pack(list_entry(0x10, 32), list_entry(0x30, 32), at{size});
        const std::string cut = decoded(2, cut_attribute(0x20, list)).text;
        EXPECT_EQ(cut.substr(cut.find('$')), groups + "]");
    }
}

bytes reparse(u32 tag, u16 substitute, u16 print, const bytes& names) {
    return pack(tag, u32{99}, substitute, u16{4}, print, u16{2}, names);
}

constexpr u32 mount_point = 0xA0000003;

TEST(reparse_point, kept_names_are_looked_for_behind_zeros) {
    const std::string point = R"($REPARSE_POINT=["tag":"0xA0000003")", ab = R"(;"substitute_name":"ab")";
    expect_values({
        {"no data", 0xC0, pack(reparse(mount_point, 0, 4, pack(u"abc")), at{4}, u16{0}), point + "]"},
        {"zeros", 0xC0, reparse(mount_point, 0, 4, pack(u32{0}, u"abc")), point + ab + R"(;"print_name":"c"])"},
        {"zeros to the end", 0xC0, reparse(mount_point, 0, 0, bytes(9)), point + "]"},
        {"names outside", 0xC0, reparse(mount_point, 0xFFFF, 0xFFFE, pack(u"abc")), point + "]"},
        {"half a unit", 0xC0, reparse(mount_point, 0, 9, pack(u"a", u8{'b'})), point + R"(;"substitute_name":"a"])"},
        {"symbolic link", 0xC0, reparse(0xA000000C, 2, 0, pack(u32{1}, u"pab")),
         R"($REPARSE_POINT=["tag":"0xA000000C")" + ab + R"(;"print_name":"p"])"},
        {"15 bytes", 0xC0, bytes(15, 1), ""},
    });
    // What follows the attribute is none of its own.
    const bytes followed = pack(attribute_of(0xC0, reparse(mount_point, 0, 4, pack(u"ab"))), u"c");
    EXPECT_TRUE(decoded(5, followed).text.ends_with(point + ab + "]"));
}

bytes name_value(std::u16string_view name) {
    return pack(u64{0x0005000000000006}, bytes(32), u64{0x1000}, u64{0x234}, u32{0x20}, u32{9},
                static_cast<u8>(name.size()), u8{2}, name);
}

const std::string no_times = R"("created":"";"modified":"";"mft_changed":"";"accessed":"")";
const std::string sizes = R"(;"allocated_size":"0x1000";"real_size":"0x0234";"flags":"0x20";"reparse_value":"0x09")";

TEST(attribute_value, kept_versions_are_characters_and_the_flags_of_a_name_a_number) {
    const std::string version = "$VOLUME_INFORMATION=[\"major_version\":\"\x03\";\"minor_version\":\"1\";\"flags\":\"";
    const std::string name =
        R"($FILE_NAME=["parent_inode":"0x06";"parent_seq":"0x05";)" + no_times + sizes + ";\"name\":\"";
    expect_values({
        {"two flags", 0x70, pack(at{8}, u8{3}, u8{'1'}, u16{0x8001}), version + "dirty ;chkdsk modified\"]"},
        {"the others", 0x70, pack(at{8}, u8{3}, u8{'1'}, u16{0x3E}),
         version + "resize_log ;upgrade_on_mount ;mounted_on_nt4 ;delete_usn ;repair_object_ids\"]"},
        {"no flags", 0x70, pack(at{8}, u8{3}, u8{'1'}, u16{0}), version + "\"]"},
        {"volume information, a byte short", 0x70, bytes(11), ""},
        {"object id, a byte short", 0x40, bytes(63), ""},
        {"standard information, a byte short", 0x10, bytes(71), ""},
        {"file name, a byte short", 0x30, bytes(67), ""},
        {"file name", 0x30, name_value(u"\u00e9.txt"), name + "\u00e9.txt\"]"},
        {"zero ends the name", 0x30, name_value({u"\0b", 2}), name + "\"]"},
    });
    const std::pair<u32, std::string> rows[] = {
        {0x8, "unk"},
        {0, "none set"},
        {0x10000010, "DIRECTORY, DIRECTORY"},
        {0x176EF,
         "READ_ONLY, HIDDEN, SYSTEM, ARCHIVE, DEVICE, NORMAL, SPARSE_FILE, REPARSE_PT, OFFLINE, CONTENT_NOT_INDEXED, "
         "ENCRYPTED, VIRTUAL"},
        {0x900, "TEMPORARY, COMPRESSED"}};
    for (const auto& [flags, expected] : rows) {
        const std::string shown = decoded(5, attribute_of(0x10, pack(at{32}, flags, at{72}))).text;
        EXPECT_NE(shown.find("\"flags\":\"" + expected + '"'), std::string::npos) << shown;
    }
}

constexpr u64 noon = 132'223'536'000'000'000;  // 2020-01-01

TEST(fragments, kept_take_the_place_for_the_attribute) {
    const auto place = [](u16 record_offset, u16 attribute_offset) {
        return record{.record_offset = record_offset, .attribute_offset = attribute_offset};
    };
    const auto standard = [](const std::string& shown) { return "$STANDARD_INFORMATION=[" + shown + "]"; };
    const std::string behind = R"("owner_id":"0x00";"security_id":"0x00";"quota_charged":"0x00";"usn":"0x)";
    const bytes duplicated = part(name_value(u"a"), 8);
    expect_decoded({
        {"first time", 7, pack(noon), standard(R"("created":"2020-01-01 12:00:00.000")"), place(56, 24)},
        {"second time", 7, pack(noon), standard(R"("modified":"2020-01-01 12:00:00.000")"), place(0, 88)},
        {"flags", 7, pack(u64{0x20}), standard(R"("flags":"ARCHIVE")"), place(0, 112)},
        {"behind the flags", 7, pack(u64{0}), standard(""), place(0, 114)},
        {"last field", 7, pack(u64{0x77}), standard(behind + "77\""), place(0, 144)},
        {"just behind", 7, pack(u64{1}), standard(behind + "00\""), place(0, 152)},
        {"further", 7, bytes(8), "", place(0, 153)},
        {"ahead", 7, bytes(8), "", place(0, 79)},
        {"seven bytes", 7, bytes(7), "", place(0, 80)},
        {"of a name", 19, duplicated, "$FILE_NAME=[" + no_times + sizes + R"(;"name":"a"])"},
        {"VCNs", 18, pack(u64{1}, u64{2}, u16{68}, at{200}),
         R"-("lowest_vcn":"0x01";"highest_vcn":"0x02";"compression_unit":"0x00 (not compressed)";)-"
         R"-("allocated_size":"0x00";"real_size":"0x00";"initialized_size":"0x00";"run_bytes":"44-00-00-00")-"},
    });
    EXPECT_EQ(decoded(20, bytes(48, 1)).info.name_flags, 0u);  // stored unseen
}

const attribute_head seven{.id = 7, .indexed = 1}, dollar_i30{.name = u"$I30", .id = 7, .indexed = 1};

// Cut or grown to a size, and stating it.
bytes sized(bytes attribute, u32 length) {
    attribute.resize(length);
    put(attribute, 4, length);
    return attribute;
}

TEST(resident_attribute, kept_value_place_follows_the_name) {
    const auto shown = [](const char* flags, const char* length, const std::string& behind) {
        return std::string(R"(resident_header=["flags":")") + flags + R"(";"id":"7";"value_length":")" + length +
               R"(";"indexed_flags":"1")" + behind;
    };
    const bytes named = resident(0xB0, {0x11}, dollar_i30);
    const bytes cut = pack(resident(0x100, {1, 2, 3, 4}, seven), at{4}, u32{26}, at{16}, u32{99});
    const std::vector<decoded_row> rows = {
        {"23 bytes are no header", 5, bytes(23, 0x10), ""},
        {"name and no value", 5, sized(resident(0xB0, bytes(9), dollar_i30), 32),
         shown("0", "9", R"(;"name":"$I30"])")},
        {"all flags", 5, sized(resident(0x50, {}, {.id = 7, .flags = 0xC001, .indexed = 1}), 25),
         shown("49153 (compressed) (encrypted) (sparse)", "0", R"(];$security=["data":""])")},
        {"neither kind", 5, pack(resident(0x80, {9}, seven), at{8}, u8{2}),
         R"(resident_header=["flags":"0";"id":"7"])"},
        {"dump ends with the attribute", 5, cut, shown("0", "99", R"(];$log=["data":"01-02"])")},
        {"stated place", 5, pack(named, at{4}, u32{48}, at{20}, u16{40}, at{40}, u8{0x22}, at{48}),
         shown("0", "1", R"(;"name":"$I30"];$bitmap=["data":"11"])")},
    };
    expect_decoded(rows, false);
}

constexpr attribute_head clusters{.name = u"ab", .id = 3, .flags = 0x8001, .last_vcn = 2, .real_size = 0x2FFF};

TEST(nonresident_attribute, kept_words_without_brackets_and_runs_with_their_offset) {
    const std::string head =
        R"("flags":"0x8001 compressed sparse";"id":"3";"lowest_vcn":"0x00";"highest_vcn":"0x02";)"
        R"-("compression_unit":"0x00 (not compressed)";"allocated_size":"0x00";"real_size":"0x2FFF";)-"
        R"("initialized_size":"0x1000")";
    const bytes data = nonresident(0x80, bytes(8), clusters);
    const std::string runs = R"(;"run_bytes":"48-00-00-00-00-00-00-00"])";
    expect_decoded({
        {"data", 5, data, "$data=[" + head + R"(;"name":"ab:stream")" + runs},
        {"index", 5, nonresident(0xA0, bytes(8), clusters), "$indxalloc=[" + head + runs},
        {"no offset of the runs", 5, pack(data, at{32}, u16{0}), "$data=[" + head + R"(;"name":"ab:stream"])"},
        {"nothing in the runs", 5, pack(data, at{16}, u64{2}, at{48}, u64{0}),
         "$data=[" + std::string(head).replace(head.find("0x00"), 4, "0x02").replace(head.find("0x2FFF"), 6, "0x00") +
             R"(;"name":"ab:stream"])"},
    });
    // 64 + 2 lies below 67, 64 + 4 does not: the name is measured in bytes.
    EXPECT_EQ(decoded(5, pack(data, at{4}, u32{67})).info.name, "ab");
    EXPECT_EQ(decoded(5, pack(data, at{4}, u32{66})).info.name, "");
}

bytes record_with(const bytes& attributes, u16 flags = 1, u16 first_attribute = 56) {
    return pack(at{8}, u64{0x1234}, u16{5}, u16{2}, first_attribute, flags, at{44}, u32{0x2A}, at{56}, attributes);
}

TEST(file_record, tells_its_flags_and_walks_its_attributes) {
    const auto shown = [](const char* flags) {
        return R"(file_record=["lsn":"0x1234";"inode":"0x2A";"seq":"0x05";"hard_links":"0x02";"flags":")" +
               std::string(flags) + "\"]";
    };
    const std::string plain = shown("in_use ;plain_file");
    // One byte of value, and seven that are not stated.
    const auto one = [](u32 type) { return resident(type, {0x77}, seven); };
    const bytes data = one(0x80);
    const std::string head =
        R"(;resident_header=["flags":"0x00";"id":"0x07";"value_length":"0x01";"indexed_flags":"0x01"])";
    const std::string whole = head + R"(;$data=["data":"77"])";
    expect_decoded({
        {"7 bytes", 2, bytes(7), ""},
        {"8 bytes", 2, bytes(8), "file_record=[]"},
        {"a cut field is 0", 2, pack(at{16}, u16{5}, u8{1}),
         R"(file_record=["lsn":"0x00";"seq":"0x05";"hard_links":"0x00"])"},
        {"attributes behind the end", 2, record_with({}, 1, 0xFFFF), plain},
        {"no flags", 2, record_with({}, 0), shown("not_in_use ;plain_file")},
        {"directory", 2, record_with({}, 7), shown("in_use ;directory")},
        {"extended", 2, record_with({}, 4), shown("not_in_use ;extended_record")},
        {"view", 2, record_with({}, 15), shown("in_use ;directory ;view_index")},
        {"end marker and type 0 are stepped over", 2,
         record_with(pack(u32{0xFFFFFFFF}, u32{8}, u32{0}, u32{12}, at{20}, data)), plain + whole},
        {"1024 is a type, 1025 is none", 2, record_with(pack(one(1025), one(1024))),
         plain + head + R"(;unk=["data":"77"])"},
        {"length 0", 2, record_with(pack(data, data, at{4}, u32{0})), plain},
        {"shorter than a header", 2, record_with(pack(data, at{4}, u32{23}, at{23}, data)), plain + head},
        {"longer than the record", 2, record_with(pack(data, at{4}, u32{33})), plain + whole},
        {"seven bytes hold no length", 2, record_with(bytes(7, 0x10)), plain},
    });
}

TEST(attributes, kept_show_the_fields_that_have_begun_from_43_bytes_on) {
    attribute_head compressed = clusters;
    compressed.compressed_size = 5;
    const bytes second_entry = pack(at{20}, u32{200}, at{32}, u64{48}, u16{33}, u16{60}, u32{0}, at{65}, u64{48},
                                    u16{88}, u16{68}, u32{0}, at{65 + 88});
    // operation, redo bytes, where the counting begins
    const std::tuple<u16, bytes, std::size_t, std::string> rows[] = {
        {2, cut_attribute(0x40, bytes(64, 1)), 80,
         "object_id 16, birth_volume_id 64, birth_object_id 64, birth_domain_id 64"},
        {2, cut_attribute(0xC0, reparse(mount_point, 4, 0, pack(u"pqab"))), 80, "print_name 21, substitute_name 22"},
        {2, cut_attribute(0x70, bytes(12, 1)), 80, "major_version 9, minor_version 10, flags'' 11"},
        {2, cut_attribute(0x10, bytes(80)), 80,
         "modified 9, mft_changed 17, accessed 25, flags'' 33, owner_id 49, security_id 53, quota_charged 57, usn 65"},
        {2, cut_attribute(0x30, name_value(u"ab")), 80,
         "parent_inode 1, parent_seq 1, created 9, modified 17, mft_changed 25, accessed 33, allocated_size 41, "
         "real_size 49, flags'' 57, reparse_value 61, name 70"},
        {2, cut_attribute(0x90, second_entry), 80,
         "inode' 81, seq' 81, parent_inode 153, parent_seq 153, created 153, modified 153, mft_changed 153, accessed "
         "153, "
         "allocated_size 153, real_size 153, flags'' 153, reparse_value 153"},
        {20, bytes(600, 0x41), 0,
         "created 24, modified 24, mft_changed 24, accessed 25, allocated_size 33, real_size 41, flags 49, "
         "reparse_value 53, name 188"},
        {20, part(name_value(u"a"), 8), 48, "flags 1, reparse_value 5, name 11"},  // half of its one unit suffices
        {11, bytes(40, 1), 0, "allocated_size 24, real_size 24, initialized_size 24, compressed_size 25"},
        {17, bytes(100, 1), 0,
         "lowest_vcn 8, highest_vcn 9, compression_unit 19, allocated_size 25, real_size 33, initialized_size 41, "
         "compressed_size 49"},
        {2, record_with({}), 0, "lsn 9, seq 17, hard_links 19, flags 23, inode 48"},
        // The first attribute may stand anywhere, here over the header.
        {2, pack(u32{0xB0}, u32{32}, at{16}, u32{1}, at{24}, u8{0x77}, at{43}), 0,
         "lsn 9, seq 17, hard_links 19, flags 23, flags' 43, id 43, value_length 43, indexed_flags 43, data 43"},
        {2, record_with(sized(resident(0xB0, bytes(10, 1), {.name = u"ab"}), 42)), 56,
         "flags' 13, id 15, value_length 17, indexed_flags 23, name 28, data 42"},
        {2, record_with(sized(nonresident(0x80, {}, compressed), 76)), 56,
         "flags' 13, id 15, lowest_vcn 17, highest_vcn 25, compression_unit 35, allocated_size 41, real_size 49, "
         "initialized_size 57, compressed_size 65, name 76, run_bytes 76"},
    };
    for (const auto& [operation, redo, head, expected] : rows)
        EXPECT_EQ(first_shown(operation, redo, head), expected);
}

}  // namespace
}  // namespace kest::disk
