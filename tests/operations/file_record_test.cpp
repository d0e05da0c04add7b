#include "support/decoded.h"

namespace kest::disk {
namespace {

bytes resident(u32 type, u32 length, u32 value_length, const bytes& behind, u8 units = 0, u16 flags = 0) {
    return pack(type, length, u8{0}, units, u16{24}, flags, u16{7}, value_length, u16{24}, u16{1}, behind);
}

TEST(resident_attribute, shows_header_and_value) {
    expect_shown(
        5, "",
        {
            {"23 bytes are no header", bytes(23, 0x10), ""},
            {"stream name", resident(0x80, 34, 2, pack(u"x", at{8}, u16{0x4241}), 1),
             R"(resident_header=["flags":"0";"id":"7";"value_length":"2";"indexed_flags":"1";"name":"x:stream"];)"
             R"($data=["data":"41-42"])"},
            {"name and no value", resident(0xB0, 32, 9, pack(u"$I30"), 4),
             R"(resident_header=["flags":"0";"id":"7";"value_length":"9";"indexed_flags":"1";"name":"$I30"])"},
            {"all flags", resident(0x50, 25, 0, {9}, 0, 0xC001),
             R"-(resident_header=["flags":"49153 (compressed) (encrypted) (sparse)";"id":"7";"value_length":"0";)-"
             R"("indexed_flags":"1"];$security=["data":""])"},
            {"neither kind", pack(resident(0x80, 25, 1, {9}), at{8}, u8{2}),
             R"(resident_header=["flags":"0";"id":"7"])"},
            {"dump ends with the attribute", resident(0x100, 26, 99, {1, 2, 3, 4}),
             R"(resident_header=["flags":"0";"id":"7";"value_length":"99";"indexed_flags":"1"];$log=["data":"01-02"])"},
        });
}

TEST(resident_attribute, kept_value_place_follows_the_name) {
    const bytes attribute = resident(0xB0, 48, 1, pack(u"a", at{8}, u8{0x11}, at{16}, u8{0x22}, at{24}), 1);
    EXPECT_NE(text(decode(5, pack(attribute, at{20}, u16{40}))).find(R"("data":"11")"), std::string::npos);
}

bytes nonresident(u32 type, u32 length, const bytes& behind, u8 units = 0, u8 compression = 0) {
    return pack(type, length, u8{1}, units, u16{64}, u16{0x8001}, u16{3}, u64{1}, u64{2}, u16{72}, compression, at{40},
                u64{0x3000}, u64{0x2FFF}, u64{0x1000}, behind);
}

TEST(nonresident_attribute, kept_words_without_brackets_and_runs_with_their_offset) {
    const std::string fields =
        R"("flags":"0x8001 compressed sparse";"id":"3";"lowest_vcn":"0x01";"highest_vcn":"0x02";)"
        R"-("compression_unit":"0x00 (not compressed)";"allocated_size":"0x3000";"real_size":"0x2FFF";)-"
        R"("initialized_size":"0x1000")";
    const bytes name_and_runs = pack(u"ab", at{8}, u64{0x1122});
    const std::string runs = R"(;"run_bytes":"48-00-00-00-00-00-00-00"])";
    const std::tuple<bytes, std::string, const char*> rows[] = {
        {nonresident(0x80, 80, name_and_runs, 2), "$data=[" + fields + R"(;"name":"ab:stream")" + runs, "ab"},
        {nonresident(0xA0, 80, name_and_runs, 2), "$indxalloc=[" + fields + runs, "ab"},
        {nonresident(0x20, 64, {}), "attriblist=[" + fields + R"(;"run_bytes":""])", ""},
        {pack(nonresident(0x80, 64, {}), at{32}, u16{0}), "$data=[" + fields + "]", ""},  // no offset of the runs
    };
    for (const auto& [attribute, expected, name] : rows) {
        const entry_info info = decode(5, attribute);
        EXPECT_EQ(text(info), expected);
        EXPECT_EQ(info.name, name);
    }
    const bytes empty = pack(nonresident(0x80, 80, name_and_runs), at{24}, u64{1}, at{48}, u64{0});
    EXPECT_EQ(text(decode(5, empty)).find("run_bytes"), std::string::npos);
}

TEST(attributes, end_where_the_record_does) {
    const auto shown = [](const bytes& attribute) {
        return first_shown(2, pack(at{20}, u16{56}, at{56}, attribute), 56).substr(46);
    };
    EXPECT_EQ(shown(resident(0xB0, 40, 10, pack(u"ab", at{8}, u64{1}, u16{1}), 2)),
              " id 15, value_length 17, indexed_flags 23, name 28, data 34");
    EXPECT_EQ(shown(pack(nonresident(0x80, 76, pack(u64{1}, u"ab"), 2, 4), at{10}, u16{72})),
              " id 15, lowest_vcn 17, highest_vcn 25, compression_unit 35, allocated_size 41, real_size 49, "
              "initialized_size 57, compressed_size 65, name 76, run_bytes 76");
}

TEST(nonresident_attribute, kept_name_is_measured_in_bytes) {
    EXPECT_EQ(decode(5, nonresident(0x80, 67, pack(u"ab"), 2)).name, "ab");  // 64 + 2 lies below 67, 64 + 4 does not
    EXPECT_EQ(decode(5, nonresident(0x80, 66, pack(u"ab"), 2)).name, "");
}

TEST(attribute_fragments, show_what_they_cover) {
    EXPECT_EQ(first_shown(11, bytes(40, 1)),
              " allocated_size 24, real_size 24, initialized_size 24, compressed_size 25");
    EXPECT_EQ(text(decode(11, pack(u64{0x1000}, u64{2}, u64{3}, u64{4}))),
              R"(new_sizes=["allocated_size":"0x1000";"real_size":"0x02";"initialized_size":"0x03";)"
              R"("compressed_size":"0x04"])");
    EXPECT_EQ(first_shown(17, bytes(100, 1)),
              " lowest_vcn 8, highest_vcn 9, compression_unit 19, allocated_size 25, real_size 33, "
              "initialized_size 41, compressed_size 49");
    EXPECT_EQ(text(decode(18, pack(u64{1}, u64{2}, u16{68}, at{200}), false)),
              R"-("lowest_vcn":"1";"highest_vcn":"2";"compression_unit":"0x00 (not compressed)";"allocated_size":"0";)-"
              R"("real_size":"0";"initialized_size":"0";"run_bytes":"44-00-00-00")");
}

bytes file_record(u16 flags, const bytes& attributes = {}, u16 first_attribute = 56) {
    return pack(at{8}, u64{0x1234}, u16{5}, u16{2}, first_attribute, flags, at{44}, u32{0x2A}, at{56}, attributes);
}

const std::string whole_header = R"(file_record=["lsn":"0x1234";"inode":"0x2A";"seq":"0x05";"hard_links":"0x02";)"
                                 R"("flags":"in_use ;plain_file"])";

TEST(file_record, shows_the_fields_that_have_begun) {
    EXPECT_EQ(first_shown(2, file_record(1)), " lsn 9, seq 17, hard_links 19, flags 23, inode 48");
    EXPECT_EQ(text(decode(2, bytes(7))) + text(decode(2, bytes(8))), "file_record=[]");
    EXPECT_EQ(text(decode(2, pack(at{16}, u16{5}, u8{1}))),  // a cut field is 0
              R"(file_record=["lsn":"0x00";"seq":"0x05";"hard_links":"0x00"])");
    const entry_info info = decode(2, file_record(1));
    EXPECT_EQ(text(info), whole_header);
    EXPECT_EQ(info.inode, inode_ref(0x2A, 5));
}

TEST(file_record, tells_its_flags) {
    const std::pair<u16, std::string> rows[] = {{0, "not_in_use ;plain_file"},
                                                {7, "in_use ;directory"},
                                                {4, "not_in_use ;extended_record"},
                                                {15, "in_use ;directory ;view_index"}};
    for (const auto& [flags, words] : rows) {
        EXPECT_NE(text(decode(2, file_record(flags))).find("\"flags\":\"" + words + "\"]"), std::string::npos) << flags;
    }
}

// One byte of value, and seven that are not stated.
bytes attribute(u32 type, u32 length = 32) {
    return resident(type, length, 1, pack(u64{0x77}));
}

const std::string header =
    R"(;resident_header=["flags":"0x00";"id":"0x07";"value_length":"0x01";"indexed_flags":"0x01"])";
const std::string data = R"(;$data=["data":"77"])";

TEST(file_record, walks_its_attributes) {
    const std::vector<shown_row> rows = {
        {"two", pack(attribute(0x80), attribute(0xB0)), header + data + header + R"(;$bitmap=["data":"77"])"},
        {"end marker and type 0 are stepped over",
         pack(u32{0xFFFFFFFF}, u32{8}, u32{0}, u32{12}, at{20}, attribute(0x80)), header + data},
        {"1024 is a type, 1025 is none", pack(attribute(1025), attribute(1024)), header + R"(;unk=["data":"77"])"},
        {"length 0", pack(attribute(0x80, 0), attribute(0x80)), ""},
        {"shorter than a header", pack(attribute(0x80, 23), at{23}, attribute(0x80)), header},
        {"longer than the record", attribute(0x80, 33), header + data},
        {"seven bytes hold no length", bytes(7, 0x10), ""},
    };
    for (const shown_row& t : rows) {
        EXPECT_EQ(text(decode(2, file_record(1, t.redo))), whole_header + t.expected) << t.what;
    }
    EXPECT_EQ(text(decode(2, file_record(1, {}, 0xFFFF))), whole_header);
}

// The first attribute may stand anywhere, here over the header.
TEST(file_record, kept_attributes_from_43_bytes_on) {
    EXPECT_EQ(first_shown(2, pack(u32{0xB0}, u32{32}, at{16}, u32{1}, at{24}, u8{0x77}, at{43})),
              " lsn 9, seq 17, hard_links 19, flags 23, id 43, value_length 43, indexed_flags 43, data 43");
}

}  // namespace
}  // namespace kest::disk
