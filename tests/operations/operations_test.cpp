#include "support/decoded.h"
#include "support/usn_image.h"

namespace kest::disk {
namespace {

TEST(operation_name, knows_codes_up_to_38) {
    EXPECT_EQ(operation_name(38), "Op38");
    EXPECT_EQ(operation_name(39), "Unk");
}

TEST(decode_operation, kept_one_of_a_pair_tells_its_location) {
    const std::string location =
        R"(location=["target_attribute":"26";"record_offset":"0x0138";"attribute_offset":"0x18"])";
    const std::pair<u16, std::string> rows[] = {
        {0, R"(no_payload=["expected_size":"0x02";"actual_size":"0"])"},
        {1, R"(compensation_data=["data":"AB-0F"])"},
        {3, location},
        {6, location},
        {9, R"(mapping_pairs=["data":"AB-0F"])"},
        {10, R"(dirty_clusters_data=["data":"AB-0F"];)" + location},
        {13, R"(deleted_entry_data=["data":"AB-0F"];)" + location},
        {26, R"(commitcommit_data=["data":"AB-0F"])"},
        {27, "forget"},
        {29, ""},
        {36, R"(record_data=["data":"AB-0F"];)" + location},
        {38, ""},
    };
    const record shape{.target_attribute = 26, .record_offset = 0x138, .attribute_offset = 0x18};
    for (const auto& [operation, expected] : rows)
        EXPECT_EQ(decoded(operation, {0xAB, 0x0F}, true, shape).text, expected) << operation;
}

// Of eight bytes of payload.
TEST(data_windows, end_with_the_payload) {
    using window = std::tuple<bool, u32, u32, u32>;  // whether there is one; where it begins, length, extent
    const window none{};
    struct row {
        const char* what;
        u16 redo_offset, redo_length, undo_offset, undo_length;
        std::string shown;  // of the redo bytes
        window undo;
    };
    const row rows[] = {
        {"widened to the undo bytes", 40, 1, 43, 5, R"(prepare_data=["data":"01-02-03"])", {true, 3, 5, 5}},
        {"undo bytes ahead", 42, 1, 40, 1, R"(prepare_data=["data":"03"])", {true, 0, 1, 8}},
        {"cut at the payload's end", 46, 9, 47, 9, R"(prepare_data=["data":"07-08"])", {true, 7, 9, 1}},
        {"behind the payload", 48, 9, 48, 1, "", {true, 8, 1, 0}},
        {"within the client header", 39, 9, 39, 9, R"(no_payload=["expected_size":"9";"actual_size":"0"])", none},
        {"no length", 40, 0, 48, 0, "", none},
    };
    for (const row& t : rows) {
        record r{.redo_op = 25,
                 .undo_op = 1,
                 .redo_offset = t.redo_offset,
                 .redo_length = t.redo_length,
                 .undo_offset = t.undo_offset,
                 .undo_length = t.undo_length};
        r.redo = {1, 2, 3, 4, 5, 6, 7, 8};
        const auto undo_of = [&r] {
            data_window found;
            const bytes image = r.image();
            const bool there = undo_data(make_log_entry(uni::byte_view(image), 0, false), found);
            return window(there, found.begin, found.length, found.extent);
        };
        EXPECT_EQ(decoded(r.image(), false).text, t.shown) << t.what;
        EXPECT_EQ(undo_of(), t.undo) << t.what;
        r.undo_op = 0;
        EXPECT_EQ(undo_of(), none) << t.what;
    }
}

TEST(open_attribute, kept_length_tells_what_is_shown) {
    const bytes old_entry = pack(u32{0xFFFFFFFF}, u32{0x80}, at{12}, u8{'y'}, at{16}, u64{0x21}, u64{0x1234}, u64{9});
    const bytes new_entry = pack(u32{1}, at{8}, u64{0x2000000000021}, u64{0x1234}, at{40}, u32{0x90});
    const std::string state = R"(open_attribute=["state":"free 0x01";"attribute_type":")";
    expect_decoded(
        {
            {"old", 28, old_entry,
             R"(open_attribute=["state":"in_use";"attribute_type":"128";"dirty":"y";"lsn":"4660";"dirty_pages_lsn":"9"])"},
            {"new", 28, new_entry, state + R"(144";"inode":"33";"seq":"2";"lsn":"4660"])"},
            {"new, no byte of the type", 28, part(new_entry, 0, 41),
             state + R"(0";"inode":"33";"seq":"2";"lsn":"4660"])"},
            {"cut", 28, bytes(39), ""},
        },
        false);
    EXPECT_EQ(decoded(28, old_entry).info.inode, inode_ref(0x21, 0));  // remembered, not shown
}

// The name's place is told wrong, and it is not all there.
TEST(journal_record, kept_name_is_read_at_its_usual_place) {
    const auto record = [](u16 version) {
        return usn_image{.version = version, .name = u"a.", .name_length = 5, .name_offset = 99}.image();
    };
    const bytes version_4 = pack(usn_image{.version = 4}.image(), at{56}, u32{0x12});
    const std::string references = R"(usn_record=["inode":"40";"seq":"3";"parent_inode":"5";"parent_seq":"5";)"
                                   R"("usn":"1310720";)";
    const std::string source = R"("reason":"file_created";"source_info":"priv_data_stream_added";)";
    const std::string told = references + R"("time":"2012-12-14 23:06:40.000";)" + source +
                             R"("security_id":"263";"file_attributes":"archive";"name":"a."])";
    expect_decoded({{"version 2", 8, record(2), told},
                    {"version 3", 8, record(3), told},
                    {"version 4", 8, version_4, references + source + R"("remaining_extents":"18"])"},
                    {"no journal record", 8, bytes(100, 1), ""}},
                   false);
    EXPECT_EQ(first_shown(8, record(2)),
              "inode 9, seq 9, parent_inode 17, parent_seq 17, usn 25, time 33, reason 41, source_info 45, "
              "security_id 49, file_attributes 53, name 61");
    EXPECT_EQ(first_shown(8, record(3)),
              "inode 9, seq 9, parent_inode 25, parent_seq 25, usn 41, time 49, reason 57, source_info 61, "
              "security_id 65, file_attributes 69, name 77");
    EXPECT_EQ(
        first_shown(8, version_4),
        "inode 9, seq 9, parent_inode 25, parent_seq 25, usn 41, reason 49, source_info 53, remaining_extents 57");
}

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
    expect_decoded(
        {
            {"end entry", 14, entry(16, 0), ""},
            {"too short", 14, bytes(15, 0x55), ""},
            {"two names", 14, pack(name_entry(u'a'), name_entry(u'b')),
             reference + file_name(R"(;"name":"a")") + ";" + reference + file_name(R"(;"name":"b")")},
            {"key of 67", 14, entry(88, 67, bytes(72)), reference},
            {"key of 66", 14, entry(98, 66, bytes(82)), R"(index_data=["data":")" + repeated("00-", 82) + "\"]"},
            {"header alone", 14, entry(16, 68), reference},
            {"longer than what is there", 14, entry(200, 68, bytes(84)), reference},
            {"length equals key length", 14, entry(70, 70, bytes(84)), reference},
            {"length below the header's ends the list", 14, entry(15, 68, pack(at{84}, name_entry(u'a'))),
             reference + file_name("")},
            {"little data", 14, entry(39, 8, bytes(23)), ""},
            {"hash index", 14, hash, "$SDH=[" + key + "07" + data},
            {"hash without offset", 14, pack(hash, at{32}, u64{0}),
             "$SII=[" + key + "07-00-00-00-09-00-00-00-" + repeated("00-", 20) + "\"]"},
            {"neither, and another behind it", 14, pack(hash, at{24}, u32{8}, at{52}, entry(16, 0)),
             "index_data=[" + key + "08" + data},
        },
        false);
    EXPECT_EQ(first_shown(16, name_entry(u'a')).substr(0, 29), "inode 16, seq 16, parent_inod");
    EXPECT_EQ(first_shown(16, hash), "data 52");
}

TEST(index_entries, kept_dump_separator_shifts) {
    const std::pair<u16, std::string> rows[] = {{32, repeated("01-", 32)},  // no shift
                                                {64, repeated("01-", 64)},
                                                {62, repeated("01-01-01-01", 15) + "01-01-"},
                                                {63, repeated("01-01", 31) + "01-"}};
    for (const auto& [count, dump] : rows) {
        const std::string shown = decoded(16, entry(static_cast<u16>(16 + count), 0, bytes(count, 1))).text;
        EXPECT_NE(shown.find(":\"" + dump + '"'), std::string::npos) << shown;
    }
}

TEST(index_root, kept_entries_begin_at_32) {
    const auto index_root = [](u32 entries_size, const bytes& entries) {
        return attribute_of(0x90, pack(at{20}, entries_size, at{32}, entries));
    };
    const bytes entries = pack(name_entry(u'a'), entry(16, 0));  // 104 bytes
    const std::string one = ";" + reference + file_name(R"(;"name":"a")");
    const std::tuple<const char*, bytes, std::string> rows[] = {
        {"sound", index_root(120, entries), one},
        {"size of the node header alone", index_root(16, entries), ""},
        {"size beyond the value", index_root(0x8000000F, entries), one},
        {"kept: a size that counts as negative", index_root(0x80000010, entries), ""},
        {"size within the first entry", index_root(16 + 80, entries), ";" + reference + file_name("")},
        {"47 bytes", index_root(100, bytes(15, 0xFF)), ""},
        {"ends with the attribute", pack(index_root(300, entries), name_entry(u'b')), one},
    };
    for (const auto& [what, attribute, expected] : rows) {
        const std::string shown = decoded(5, attribute, false).text;
        EXPECT_EQ(shown.substr(shown.find(']') + 1), expected) << what;
    }
}

}  // namespace
}  // namespace kest::disk
