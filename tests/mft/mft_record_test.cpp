#include "mft/mft_record.h"

#include <gtest/gtest.h>

#include "mft/mft_reader.h"
#include "support/damage.h"
#include "support/memory_file.h"
#include "support/mft_image.h"

namespace kest {
namespace {

using disk::bytes;
using disk::file_record;
using disk::name_image;
using numbers = std::vector<std::uint64_t>;

struct parsed {
    bool good = false;
    inode_record record = {};
};

// Parses `image` with `mft` to read extension records from.
parsed parse(bytes image, const bytes& mft = bytes(4096), std::uint64_t reads = 5000) {
    const disk::memory_file memory(mft);
    uni::file file;
    EXPECT_TRUE(file.open(memory.path(), uni::open_mode::read));
    mft_source source{.file = file,
                      .record_size = static_cast<std::uint32_t>(image.size()),
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

numbers values(const file_times& t) {
    return {t.created, t.modified, t.mft_changed, t.accessed};
}

TEST(parse_mft_record, takes_the_told_fields) {
    using namespace disk;
    const bytes information = pack(u64{11}, u64{12}, u64{13}, u64{14}, u32{0x20}, at{64}, u64{99});
    const bytes name =
        name_image{.parent = 0x0002'0000'0000'0021, .name = u"\u00e9 \U0001F600", .real_size = 77}.attribute();
    const bytes runs = nonresident(0xA0, {0x11, 3, 100, 0});
    const bytes unnumbered = resident(0x10, cut(information, 71));  // so the update sequence number before it stays
    const auto [good, r] = parse(disk::file_record{
        .number = 0x12345,
        .sequence = 7,
        .flags = 3,
        .lsn = 0xABCDEF,
        .attributes = {resident(0x10, information), unnumbered, name,
                       runs}}.image());
    ASSERT_TRUE(good && r.is_base && r.in_use && r.is_directory);
    EXPECT_EQ(r.ref(), inode_ref(0x12345, 7));
    EXPECT_EQ(r.first_parent(), inode_ref(0x21, 2));
    EXPECT_EQ(r.name, "\u00e9 \U0001F600");
    EXPECT_EQ(values(r.si_times), (numbers{11, 12, 13, 14}));
    EXPECT_EQ(values(r.fn_times), (numbers{1, 2, 3, 4}));
    EXPECT_EQ((numbers{r.lsn, r.usn, r.file_attributes, r.allocated_size, r.real_size}),
              (numbers{0xABCDEF, 99, 0x20, 4096, 77}));
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
    const auto [good, extension] = parse(file_record{.base = 0x0003'0000'0000'0021, .attributes = {}}.image());
    EXPECT_TRUE(good);
    EXPECT_FALSE(extension.is_base);
    EXPECT_EQ(extensions(extension), numbers{0x21});
}

TEST(parse_mft_record, kept_takes_a_torn_sector_as_it_is) {
    const bytes filler = disk::resident(0x80, bytes(336 - 24));
    const file_record image{.attributes = {filler, name_image{.name = u"crosses a sector end"}.attribute()}};
    const bytes sound = image.image();
    EXPECT_EQ(parse(sound).record.name, "crosses a sector end");
    EXPECT_EQ(parse(disk::flip(sound, 510 * 8)).record.name, "crosses a sector end");
}

TEST(parse_mft_record, takes_an_attribute_that_fills_the_record) {
    bytes named = name_image{.name = u"last"}.attribute();
    disk::put<std::uint32_t>(named, 4, 1024 - 72);
    EXPECT_EQ(parse(file_record{.attributes = {named}}.image()).record.name, "last");
}

TEST(parse_mft_record, ends_at_an_attribute_that_cannot_be) {
    for (const std::uint32_t length : {0u, 1024u - 72 + 1, 0xFFFF'FFFFu}) {
        bytes filler = disk::resident(0x80, bytes(8));
        disk::put<std::uint32_t>(filler, 4, length);
        const file_record image{.attributes = {name_image{}.attribute(), filler, name_image{.name = u"z"}.attribute()}};
        EXPECT_EQ(parse(image.image()).record.name, "a") << length;
    }
}

// A base record that lists others, among them itself, one twice, one that lists a further one, and one out of reach.
TEST(parse_mft_record, follows_attribute_lists) {
    const std::uint64_t base = 0x0001'0000'0000'0028;
    const bytes mft = disk::mft_image(
        {
            {.number = 1, .base = base, .attributes = {name_image{.parent = 71}.attribute()}},
            {.number = 2,
             .base = base,
             .attributes = {name_image{.parent = 72}.attribute(),
                            disk::resident(0x20, disk::list_value({2, 1, 3, 40}))}},
            {.number = 3, .base = base, .attributes = {name_image{.parent = 73, .name = u"deepest"}.attribute()}},
            {.number = 40, .base = base, .attributes = {name_image{.parent = 74}.attribute()}},
        },
        41);
    const bytes list = disk::list_value({40, 1, 1, 2, 900'000, 0});
    const auto image = [](const bytes& attribute) { return file_record{.attributes = {attribute}}.image(); };
    const inode_record r = parse(image(disk::resident(0x20, list)), mft).record;
    EXPECT_EQ(extensions(r), (numbers{1, 2, 3}));
    EXPECT_EQ(r.parents, (std::set{inode_ref(71), inode_ref(72), inode_ref(73)}));
    EXPECT_EQ(r.name, "deepest");
    EXPECT_EQ(r.inode, 40u);
    EXPECT_EQ(extensions(parse(image(disk::resident(0x20, disk::list_value({1, 2}, 23))), mft).record), numbers{1});
    EXPECT_EQ(extensions(parse(image(disk::resident(0x20, list)), mft, 1).record), numbers{1}) << "one read left";
}

TEST(parse_mft_record, kept_counts_the_clusters_of_a_list_from_the_mft_file) {
    bytes mft = disk::mft_image({{.number = 1, .base = 40}, {.number = 2, .base = 40}}, 16);
    const bytes list = disk::list_value({1, 2});
    disk::lay(mft, 2 * 4096, list);
    const auto found = [&](const bytes& attribute) {
        return extensions(parse(file_record{.attributes = {attribute}}.image(), mft).record);
    };
    EXPECT_EQ(found(disk::nonresident(0x20, {0x11, 1, 2, 0})), (numbers{1, 2}));
    EXPECT_EQ(found(disk::nonresident(0x20, {0x11, 1, 99, 0x11, 1, 0x9F, 0})), (numbers{1, 2})) << "99, then 99 - 97";
    EXPECT_EQ(found(disk::nonresident(0x20, {0x11, 1, 2, 0}, 0, 0)), numbers{}) << "not initialised";
    EXPECT_EQ(found(disk::nonresident(0x20, {0x11, 1, 3, 0})), numbers{}) << "no list there";
}

// Every list names the record behind it: a chain as deep as lists are followed.
TEST(parse_mft_record, bounds_depth_and_number_of_extension_records) {
    std::vector<file_record> chain;
    std::vector<file_record> fan;
    for (std::uint32_t number = 0; number < 1100; ++number) {
        const bytes next = disk::resident(0x20, disk::list_value({number + 1}));
        chain.push_back({.number = number, .base = 5000, .attributes = {next}});
        numbers children;
        for (std::uint64_t child = 20 * number + 1; child <= 20 * number + 20; ++child)
            children.push_back(child % 1100);
        const bytes list = disk::resident(0x20, disk::list_value(children));
        fan.push_back({.number = number, .base = 5000, .attributes = {list}});
    }
    const file_record top{.number = 5000, .attributes = {disk::resident(0x20, disk::list_value({1}))}};
    EXPECT_EQ(parse(top.image(), disk::mft_image(chain, 1100)).record.base_records.size(), 32u);
    EXPECT_EQ(parse(top.image(), disk::mft_image(fan, 1100)).record.base_records.size(), 1024u);
}

}  // namespace
}  // namespace kest
