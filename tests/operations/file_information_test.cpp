#include "support/decoded.h"

namespace kest {
namespace {

using namespace disk;

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
    EXPECT_EQ(info.std_times.created, noon);
    EXPECT_EQ(info.std_times.modified, noon + second);
    EXPECT_EQ(info.std_times.mft_changed, noon + 2 * second);
    EXPECT_EQ(info.std_times.accessed, noon + 3 * second);
    EXPECT_EQ(info.std_flags, 0x10000020u);
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
    EXPECT_EQ(info.parent, inode_ref(6, 5));
    EXPECT_EQ(info.name_times.created, noon);
    EXPECT_EQ(info.name_times.latest(), noon + 3 * second);
    EXPECT_EQ(info.name_alloc_size, 0x1000u);
    EXPECT_EQ(info.name_flags, 0x20u);
    EXPECT_EQ(info.name, "\u00e9.txt");
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
}  // namespace kest
