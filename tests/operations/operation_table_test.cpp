#include "support/decoded.h"

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
    for (const auto& [operation, expected] : rows) {
        SCOPED_TRACE(operation);
        const record shape{.target_attribute = 26, .record_offset = 0x138, .attribute_offset = 0x18};
        EXPECT_EQ(text(decode(operation, {0xAB, 0x0F}, true, shape)), expected);
    }
}

TEST(decode_operation, takes_the_redo_window) {
    const std::tuple<const char*, u16, u16, u16, std::string> rows[] = {
        {"widened to the undo bytes", 40, 1, 43, R"(prepare_data=["data":"01-02-03"])"},
        {"undo bytes ahead", 42, 1, 40, R"(prepare_data=["data":"03"])"},
        {"cut at the payload's end", 46, 9, 40, R"(prepare_data=["data":"07-08"])"},
        {"behind the payload", 48, 9, 40, ""},
        {"within the client header", 39, 9, 40, R"(no_payload=["expected_size":"9";"actual_size":"0"])"},
        {"no length", 40, 0, 48, ""},
    };
    for (const auto& [what, redo_offset, redo_length, undo_offset, expected] : rows) {
        record r{.redo_op = 25, .redo_offset = redo_offset, .redo_length = redo_length, .undo_offset = undo_offset};
        r.redo = {1, 2, 3, 4, 5, 6, 7, 8};
        EXPECT_EQ(text(decode(r.image(), false)), expected) << what;
    }
}

TEST(open_attribute, kept_length_tells_what_is_shown) {
    const bytes old_entry = pack(u32{0xFFFFFFFF}, u32{0x80}, at{12}, u8{'y'}, at{16}, u64{0x21}, u64{0x1234}, u64{9});
    EXPECT_EQ(text(decode(28, old_entry)), R"(open_attribute=["state":"in_use";"attribute_type":"128";"dirty":"y";)"
                                           R"("lsn":"0x1234";"dirty_pages_lsn":"0x09"])");
    EXPECT_EQ(text(decode(28, bytes(39))), "");
    const entry_info info = decode(28, pack(u32{1}, at{8}, u64{0x2000000000021}, u64{0x1234}, at{40}, u32{0x90}));
    EXPECT_EQ(text(info), R"(open_attribute=["state":"free 0x01";"attribute_type":"144";"inode":"0x21";"seq":"0x02";)"
                          R"("lsn":"0x1234"])");
    EXPECT_EQ(info.inode, inode_ref(0x21, 2));
    EXPECT_NE(text(decode(28, bytes(41, 1))).find(R"("attribute_type":"0")"), std::string::npos);
    EXPECT_NE(text(decode(28, bytes(40), false)).find(R"("free 0x00")"), std::string::npos);
}

}  // namespace
}  // namespace kest::disk
