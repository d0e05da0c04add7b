#include "mft/mft_record.h"

#include <gtest/gtest.h>

#include "mft/mft_reader.h"
#include "mft/run_list.h"
#include "support/damage.h"
#include "support/memory_file.h"
#include "support/mft_image.h"

namespace kest {
namespace {

using namespace disk;
using numbers = std::vector<u64>;

// Parses `image` with `mft` to read extension records from; says whether it is good.
struct parsed {
    inode_record record = {};
    bool good = false;
};
parsed parse(bytes image, const bytes& mft = bytes(4096), u64 reads = 5000) {
    const memory_file memory(mft);
    uni::file file;
    EXPECT_TRUE(file.open(memory.path(), uni::open_mode::read));
    mft_source source{.file = file,
                      .record_size = static_cast<u32>(image.size()),
                      .parse_mask = parse_bits::index_allocation,
                      .reads_left = reads,
                      .runs_left = 100};
    parsed result;
    result.good = parse_mft_record(result.record, image, source);
    return result;
}

numbers extensions(const inode_record& record) {
    return {record.base_records.begin(), record.base_records.end()};
}

TEST(parse_mft_record, takes_the_told_fields) {
    const bytes information = pack(u64{11}, u64{12}, u64{13}, u64{14}, u32{0x20}, at{64}, u64{99});
    const bytes name =
        name_image{.parent = 0x0002'0000'0000'0021, .name = u"\u00e9 \U0001F600", .real_size = 77}.attribute();
    const bytes runs = nonresident(0xA0, {0x11, 3, 100, 0});
    const bytes unnumbered = resident(0x10, cut(information, 71));  // so the update sequence number before it stays
    file_record image{.number = 0x12345, .sequence = 7, .flags = 3, .lsn = 0xABCDEF};
    image.attributes = {resident(0x10, information), unnumbered, name, runs};
    const auto [r, good] = parse(image.image());
    ASSERT_TRUE(good && r.is_base && r.in_use && r.is_directory);
    EXPECT_EQ(r.ref(), inode_ref(0x12345, 7));
    EXPECT_EQ(r.first_parent(), inode_ref(0x21, 2));
    EXPECT_EQ(r.name, "\u00e9 \U0001F600");
    const file_times &si = r.si_times, &fn = r.fn_times;
    EXPECT_EQ((numbers{si.created, si.modified, si.mft_changed, si.accessed, r.lsn, r.usn, r.file_attributes}),
              (numbers{11, 12, 13, 14, 0xABCDEF, 99, 0x20}));
    EXPECT_EQ((numbers{fn.created, fn.modified, fn.mft_changed, fn.accessed, r.allocated_size, r.real_size}),
              (numbers{1, 2, 3, 4, 4096, 77}));
    ASSERT_EQ(r.index_runs.size(), 1u);
    EXPECT_EQ(r.index_runs[0].lcn, 100u);
}

TEST(parse_mft_record, lets_the_last_long_name_win_and_the_first_sizes) {
    const file_record image{
        .attributes = {name_image{.parent = 9, .name = u"ONE~1", .space = 2, .real_size = 5}.attribute(),
                       name_image{.parent = 8, .name = u"first", .real_size = 6}.attribute(),
                       name_image{.parent = 7, .name = u"last", .space = 0, .real_size = 7}.attribute()}};
    const inode_record r = parse(image.image()).record;
    EXPECT_EQ(r.name, "last");
    EXPECT_EQ(r.real_size, 6u);
    EXPECT_EQ(r.parents, (std::set{inode_ref(7), inode_ref(8), inode_ref(9)}));
}

TEST(parse_mft_record, keeps_what_leads_somewhere) {
    EXPECT_FALSE(parse(file_record{.attributes = {}}.image()).good);
    const auto [extension, good] = parse(file_record{.base = 0x0003'0000'0000'0021, .attributes = {}}.image());
    EXPECT_TRUE(good);
    EXPECT_FALSE(extension.is_base);
    EXPECT_EQ(extensions(extension), numbers{0x21});
}

TEST(parse_mft_record, kept_takes_a_torn_sector_as_it_is) {
    const bytes filler = resident(0x80, bytes(336 - 24));
    const file_record image{.attributes = {filler, name_image{.name = u"crosses a sector end"}.attribute()}};
    const bytes sound = image.image();
    EXPECT_EQ(parse(sound).record.name, "crosses a sector end");
    EXPECT_EQ(parse(flip(sound, 510 * 8)).record.name, "crosses a sector end");
}

TEST(parse_mft_record, ends_at_an_attribute_that_cannot_be) {
    for (const u32 length : {0u, 1024u - 72, 1024u - 72 + 1, 0xFFFF'FFFFu}) {
        bytes first = name_image{.name = u"fills the record"}.attribute();
        put(first, 4, length);
        const file_record image{.attributes = {first, name_image{.name = u"z"}.attribute()}};
        EXPECT_EQ(parse(image.image()).record.name, length == 1024 - 72 ? "fills the record" : "") << length;
    }
}

// A base record that lists others, among them itself, one twice, one that lists a further one, and one out of reach.
TEST(parse_mft_record, follows_attribute_lists) {
    const auto extension = [](u32 number, u64 parent, const bytes& list, const char16_t* name) {
        const bytes named = name_image{.parent = parent, .name = name}.attribute();
        return file_record{.number = number, .base = 0x0001'0000'0000'0028, .attributes = {named, list}};
    };
    const bytes mft =
        mft_image({extension(1, 71, {}, u"a"), extension(2, 72, resident(0x20, list_value({2, 1, 3, 40})), u"a"),
                   extension(3, 73, {}, u"deepest"), extension(40, 74, {}, u"a")},
                  41);
    const bytes list = list_value({40, 1, 1, 2, 900'000, 0});
    const auto image = [](const bytes& attribute) { return file_record{.attributes = {attribute}}.image(); };
    const inode_record r = parse(image(resident(0x20, list)), mft).record;
    EXPECT_EQ(extensions(r), (numbers{1, 2, 3}));
    EXPECT_EQ(r.parents, (std::set{inode_ref(71), inode_ref(72), inode_ref(73)}));
    EXPECT_EQ(r.name, "deepest");
    EXPECT_EQ(r.inode, 40u);
    EXPECT_EQ(extensions(parse(image(resident(0x20, list_value({1, 2}, 23))), mft).record), numbers{1});
    EXPECT_EQ(extensions(parse(image(resident(0x20, list)), mft, 1).record), numbers{1}) << "one read left";
}

TEST(parse_mft_record, kept_counts_the_clusters_of_a_list_from_the_mft_file) {
    bytes mft = mft_image({{.number = 1, .base = 40}, {.number = 2, .base = 40}}, 16);
    const bytes list = list_value({1, 2});
    lay(mft, 2 * 4096, list);
    const auto found = [&](const bytes& attribute) {
        return extensions(parse(file_record{.attributes = {attribute}}.image(), mft).record);
    };
    EXPECT_EQ(found(nonresident(0x20, {0x11, 1, 2, 0})), (numbers{1, 2}));
    EXPECT_EQ(found(nonresident(0x20, {0x11, 1, 99, 0x11, 1, 0x9F, 0})), (numbers{1, 2})) << "99, then 99 - 97";
    EXPECT_EQ(found(nonresident(0x20, {0x11, 1, 2, 0}, 0, 0)), numbers{}) << "not initialised";
    EXPECT_EQ(found(nonresident(0x20, {0x11, 1, 3, 0})), numbers{}) << "no list there";
}

// Every list names the record behind it: a chain as deep as lists are followed.
TEST(parse_mft_record, bounds_depth_and_number_of_extension_records) {
    std::vector<file_record> chain, fan;
    for (u32 number = 0; number < 1100; ++number) {
        numbers children;
        for (u64 child = 20 * number + 1; child <= 20 * number + 20; ++child)
            children.push_back(child % 1100);
        for (const auto& [records, listed] : {std::pair{&chain, numbers{number + 1}}, {&fan, children}})
            records->push_back({.number = number, .base = 5000, .attributes = {resident(0x20, list_value(listed))}});
    }
    const file_record top{.number = 5000, .attributes = {resident(0x20, list_value({1}))}};
    EXPECT_EQ(parse(top.image(), mft_image(chain, 1100)).record.base_records.size(), 32u);
    EXPECT_EQ(parse(top.image(), mft_image(fan, 1100)).record.base_records.size(), 1024u);
}

constexpr auto fields = [](const run_record& r) { return std::tuple(r.lcn, r.delta, r.clusters, r.vcn, r.negative); };

TEST(decode_runs, adds_up_the_steps) {
    const std::tuple<const char*, bytes, std::vector<run_record>> rows[] = {
        {"forward and back",
         {0x21, 4, 0x34, 2, 0x11, 2, 0xF0, 0},
         {{0x234, 0x234, 4, 9, false}, {0x224, 16, 2, 13, true}}},
        {"sparse stays in place", {0x11, 4, 7, 0x01, 9, 0}, {{7, 7, 4, 9, false}, {7, 0, 9, 13, false}}},
        {"length cut to 32 bits", {0x15, 1, 0, 0, 0, 1, 2, 0}, {{2, 2, 1, 9, false}}},
        {"no length", {0x10, 5, 0}, {{5, 5, 0, 9, false}}},
        {"eight bytes of step", {0x81, 1, 0xFE, 255, 255, 255, 255, 255, 255, 255, 0}, {{~0ull - 1, 2, 1, 9, true}}},
        {"bytes beyond the eighth", {0x91, 1, 3, 0, 0, 0, 0, 0, 0, 0, 0x80, 0}, {{3, 3, 1, 9, false}}},
        {"cut off", {0x11, 1, 2, 0x44, 1, 2, 3, 4, 5, 6, 7}, {{2, 2, 1, 9, false}}},
        {"empty", {0}, {}},
    };
    for (const auto& [what, list, expected] : rows) {
        SCOPED_TRACE(what);
        const bytes padded = nonresident(0xA0, list, 9);
        const uni::byte_view attribute = uni::byte_view(std::span(padded)).slice(0, 64 + list.size());
        std::vector<run_record> runs;
        EXPECT_TRUE(decode_runs(attribute, runs));
        EXPECT_TRUE(std::ranges::equal(runs, expected, {}, fields, fields));
        for (std::size_t length = 1; length < attribute.size(); ++length) {
            runs.clear();
            EXPECT_EQ(decode_runs(attribute.slice(0, length), runs),
                      length < 34 || length >= 64);  // 34: where the offset ends
        }
    }
}

}  // namespace
}  // namespace kest
