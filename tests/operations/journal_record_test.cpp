#include "support/decoded.h"

namespace kest::disk {
namespace {

constexpr u64 noon = 132'223'536'000'000'000;  // 2020-01-01
constexpr u64 file = 0x0003000000000028, parent = 0x0005000000000006;

// What versions 2 and 3 share. The name's place is told wrong, and it ends 7 bytes ahead of the bytes.
const bytes information =
    pack(u64{0x140000}, noon, u32{0x80000100}, u32{2}, u32{0x105}, u32{0x20}, u16{4}, u16{99}, u"a.txt", at{53});
const bytes version_2 = pack(u32{88}, u16{2}, u16{0}, file, parent, information);
const bytes version_3 = pack(u32{104}, u16{3}, u16{0}, file, u64{1}, parent, u64{1}, information);
const bytes version_4 =
    pack(u32{64}, u16{4}, u16{0}, file, u64{1}, parent, u64{1}, u64{0x140000}, u32{0x100}, u32{0}, u32{0x12}, u32{0});

TEST(journal_record, kept_name_is_read_at_its_usual_place) {
    const std::string references = R"(usn_record=["inode":"40";"seq":"3";"parent_inode":"6";"parent_seq":"5";)"
                                   R"("usn":"1310720";)";
    for (const bytes& record : {version_2, version_3}) {
        const entry_info info = decode(8, record, false);
        EXPECT_EQ(text(info), references + R"("time":"2020-01-01 12:00:00.000";"reason":"file_created; file_closed";)"
                                           R"("source_info":"priv_data_stream_added";"security_id":"261";)"
                                           R"("file_attributes":"archive";"name":"a."])");
        EXPECT_EQ(std::tuple(info.inode, info.parent, info.usn_time, info.usn_reason, info.name),
                  std::tuple(inode_ref(0x28, 3), inode_ref(6, 5), noon, 0x80000100u, "a."));
    }
    const entry_info info = decode(8, version_4, false);
    EXPECT_EQ(text(info), references + R"("reason":"file_created";"source_info":"-";"remaining_extents":"18"])");
    EXPECT_EQ(info.usn_time, 0u);
    EXPECT_EQ(info.usn_reason, 0x100u);
    EXPECT_EQ(text(decode(8, bytes(100, 1))), "");  // no journal record
}

TEST(journal_record, shows_the_fields_that_have_begun) {
    EXPECT_EQ(first_shown(8, version_2),
              " inode 9, seq 9, parent_inode 17, parent_seq 17, usn 25, time 33, reason 41, source_info 45, "
              "security_id 49, file_attributes 53, name 61");
    EXPECT_EQ(first_shown(8, version_3),
              " inode 9, seq 9, parent_inode 25, parent_seq 25, usn 41, time 49, reason 57, source_info 61, "
              "security_id 65, file_attributes 69, name 77");
    EXPECT_EQ(first_shown(8, version_4),
              " inode 9, seq 9, parent_inode 25, parent_seq 25, usn 41, reason 49, source_info 53, "
              "remaining_extents 57");
}

}  // namespace
}  // namespace kest::disk
