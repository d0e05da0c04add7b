#include "support/decoded.h"

namespace kest::disk {
namespace {

bytes entry(u16 length, u16 key_length, const bytes& behind = {}) {
    return pack(u64{0x0002000000000030}, length, key_length, u32{0}, behind);
}

bytes name_entry(char16_t name) {
    return entry(88, 68, pack(at{64}, u8{1}, u8{1}, static_cast<u16>(name), at{72}));
}

const std::string reference = R"($I30=["inode":"48";"seq":"2"])";

std::string file_name(const std::string& name) {
    return R"(;$FILE_NAME=["parent_inode":"0";"parent_seq":"0";"created":"";"modified":"";"mft_changed":"";)"
           R"("accessed":"";"allocated_size":"0";"real_size":"0";"flags":"0";"reparse_value":"0")" +
           name + "]";
}

std::string repeated(const char* part, int times) {
    std::string out;
    while (times-- > 0)
        out += part;
    return out;
}

TEST(index_entries, kept_keys_are_told_by_their_length) {
    const bytes hash = entry(52, 8, pack(u32{7}, u32{9}, u32{7}, u32{9}, u64{0x100}, at{36}));
    const std::string key = R"("data":"07-00-00-00-09-00-00-00-)";
    const std::string data = "-00-00-00-09-00-00-00-00-01-" + repeated("00-", 18) + "\"]";
    expect_shown(14, "",
                 {
                     {"end entry", entry(16, 0), ""},
                     {"too short", bytes(15, 0x55), ""},
                     {"two names", pack(name_entry(u'a'), name_entry(u'b')),
                      reference + file_name(R"(;"name":"a")") + ";" + reference + file_name(R"(;"name":"b")")},
                     {"key of 67", entry(88, 67, bytes(72)), reference},
                     {"key of 66", entry(98, 66, bytes(82)), R"(index_data=["data":")" + repeated("00-", 82) + "\"]"},
                     {"header alone", entry(16, 68), reference},
                     {"longer than what is there", entry(200, 68, bytes(84)), reference},
                     {"length equals key length", entry(70, 70, bytes(84)), reference},
                     {"length below the header's ends the list", entry(15, 68, pack(at{84}, name_entry(u'a'))),
                      reference + file_name("")},
                     {"little data", entry(39, 8, bytes(23)), ""},
                     {"hash index", hash, "$SDH=[" + key + "07" + data},
                     {"hash without offset", pack(hash, at{32}, u64{0}),
                      "$SII=[" + key + "07-00-00-00-09-00-00-00-" + repeated("00-", 20) + "\"]"},
                     {"neither", pack(hash, at{24}, u32{8}), "index_data=[" + key + "08" + data},
                 });
    EXPECT_EQ(decode(12, name_entry(u'a')).inode, inode_ref(0x30, 2));
    EXPECT_EQ(first_shown(16, name_entry(u'a')).substr(0, 27), " inode 16, seq 16, parent_i");
    EXPECT_EQ(first_shown(16, hash), " data 52");
}

TEST(index_entries, kept_dump_separator_shifts) {
    const std::pair<u16, std::string> rows[] = {{32, repeated("01-", 32)},  // no shift
                                                {64, repeated("01-", 64)},
                                                {62, repeated("01-01-01-01", 15) + "01-01-"},
                                                {63, repeated("01-01", 31) + "01-"}};
    for (const auto& [count, dump] : rows) {
        const std::string shown = text(decode(16, entry(static_cast<u16>(16 + count), 0, bytes(count, 1))));
        EXPECT_NE(shown.find(":\"" + dump + '"'), std::string::npos) << shown;
    }
}

bytes index_root(u32 entries_size, const bytes& entries) {
    return attribute_of(0x90, pack(at{20}, entries_size, at{32}, entries));
}

TEST(index_root, kept_entries_begin_at_32) {
    const bytes entries = pack(name_entry(u'a'), entry(16, 0));  // 104 bytes
    const std::string one = ";" + reference + file_name(R"(;"name":"a")");
    const std::vector<shown_row> rows = {
        {"sound", index_root(120, entries), one},
        {"size of the node header alone", index_root(16, entries), ""},
        {"size beyond the value", index_root(0xFFFFFFFF, entries), one},
        {"size within the first entry", index_root(16 + 80, entries), ";" + reference + file_name("")},
        {"47 bytes", index_root(100, bytes(15, 0xFF)), ""},
        {"ends with the attribute", pack(index_root(300, entries), name_entry(u'b')), one},
    };
    for (const shown_row& t : rows) {
        const std::string shown = text(decode(5, t.redo, false));
        EXPECT_EQ(shown.substr(shown.find(']') + 1), t.expected) << t.what;
    }
    const bytes root = pack(at{20}, u32{200}, at{32}, entry(33, 60, bytes(17)), name_entry(u'a'));
    EXPECT_NE(first_shown_of_value(0x90, root).find(" parent_inode 153,"), std::string::npos);  // whole from 65 on
}

}  // namespace
}  // namespace kest::disk
