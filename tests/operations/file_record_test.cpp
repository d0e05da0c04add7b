#include "support/decoded.h"

namespace kest {
namespace {

using namespace disk;

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

// 24 bytes of header, 8 of value, of which one is stated.
bytes attribute(u32 type, u32 length = 32) {
    return pack(type, length, at{16}, u32{1}, u16{24}, at{24}, u8{0x77}, at{32});
}

const std::string header =
    R"(;resident_header=["flags":"0x00";"id":"0x00";"value_length":"0x01";"indexed_flags":"0x00"])";
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
}  // namespace kest
