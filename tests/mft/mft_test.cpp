// What is read of MFTs, mostly as whole runs show it in rows of their own.

#include "format/number.h"
#include "mft/mft_reader.h"
#include "mft/record_view.h"
#include "support/made_run.h"

namespace kest::disk {
namespace {

using texts = std::vector<std::string>;
using numbers = std::vector<u64>;

// The rows of file records, in the order of their LSNs. The log has one record, later than all.
std::vector<row_cells> mft_rows(const bytes& mft) {
    const bytes log = record_page{.last_lsn = 1 << 20, .records = {{.lsn = 1 << 20}}}.image();
    std::vector<row_cells> rows = rows_of(log, mft, {}, {"-showall_inodes"});
    std::erase_if(rows, [](const row_cells& row) { return row[level_cell] != "mft"; });
    return rows;
}

// Of each of them the number, and the details up to the times.
texts shown(const bytes& mft) {
    texts out;
    for (const row_cells& row : mft_rows(mft)) {
        const std::string details = row[details_cell].substr(5, row[details_cell].find(";\"si_created") - 5);
        out.push_back(row[inode_cell].substr(2) + ' ' + details);
    }
    return out;
}

// File records with an LSN each, in the order of their numbers, as a log needs it to show them.
bytes mft_of(std::vector<file_record> records, std::size_t count = 64) {
    if (records[0].number != 0) records.insert(records.begin(), file_record{.number = 0, .lsn = ~u64{0}});
    for (file_record& record : records)
        record.lsn = record.lsn == 0 ? record.number + 1 : record.lsn;
    return mft_image(records, count);
}

// What is shown of a record by itself.
std::string shown_of(file_record record, const std::vector<file_record>& others = {}) {
    std::vector<file_record> all = others;
    record.number = 40;
    record.lsn = 1;
    all.push_back(std::move(record));
    for (const std::string& text : shown(mft_of(all))) {
        if (text.starts_with("28 ")) return text.substr(3);
    }
    return "nothing";
}

file_record with(std::vector<bytes> attributes) {
    return {.attributes = std::move(attributes)};
}

bytes name(u64 parent, std::u16string text, u8 space = 1) {
    return name_image{.parent = parent, .name = std::move(text), .space = space}.attribute();
}

TEST(mft_file, wants_a_file_record_at_the_beginning) {
    const auto of = [](file_record first) {
        first.number = 0;
        first.lsn = 1;
        return mft_image({first}, 4);
    };
    bytes foreign = of({});
    foreign[0] ^= 2;
    const std::tuple<const char*, bytes, int> rows[] = {
        {"sound", of({}), 0},
        {"large records", of({.size = 4096}), 0},
        {"attributes too late", of({.first_attribute = 73}), -1},
        {"the older layout", of({.usa_offset = 42}), -1},
        {"too many words", of({.usa_count = 10}), -1},
        {"too few words", of({.usa_count = 1}), -1},
        {"less than a page", part(of({}), 0, 4095), -1},
        {"another signature", foreign, -1},
    };
    const memory_file log(log_of_pages({{.lsn = 8}}));
    for (const auto& [what, image, status] : rows) {
        const memory_file mft(image);
        EXPECT_EQ(run_captured({"-quiet", "-log", log.path(), "-mftfile", mft.path()}).status, status) << what;
    }
}

TEST(mft_file, is_read_to_the_last_whole_record) {
    for (const u32 count : {16u, 17u, 1024u, 1030u}) {
        std::vector<file_record> records(count);
        for (u32 number = 0; number < count; ++number)
            records[number].number = number;
        const texts rows = shown(pack(mft_of(records, count), at{count * std::size_t{1024} + 1000}));
        ASSERT_EQ(rows.size(), count);
        EXPECT_EQ(rows.back(), format_number(count - 1, true).substr(2) + R"( "name":"a";"parent":"0x05")");
    }
    bytes image = mft_of({{.number = 0}, {.number = 1}, {.number = 2}, {.number = 3, .attributes = {}}, {.number = 5}});
    image[2 * 1024] = 'B';
    lay(image, 4 * 1024, file_record{.number = 5, .lsn = 5}.image());  // the number and sequence of another
    const std::string same = R"( "name":"a";"parent":"0x05")";
    EXPECT_EQ(shown(image), (texts{"00" + same, "01" + same, "05" + same, "05" + same}));
}

TEST(file_record, shows_the_last_long_name_and_the_first_sizes) {
    const bytes information = pack(bytes(32), u32{0x20}, at{64}, u64{99});
    const bytes unnumbered = resident(0x10, part(information, 0, 71));  // so the update sequence number before it stays
    bytes torn = name(5, u"crosses a sector end");
    const std::tuple<const char*, file_record, std::string> rows[] = {
        {"UTF-16", with({resident(0x10, information), unnumbered, name(0x21, u"\u00e9 \U0001F600")}),
         "\"name\":\"\u00e9 \U0001F600\";\"parent\":\"0x21\";\"usn\":\"0x63\""},
        {"names", with({name(9, u"ONE~1", 2), name(8, u"first"), name(7, u"last", 0)}),
         R"("name":"last";"parent":"0x07";"parent":"0x08";"parent":"0x09")"},
        {"neither parent nor base", with({}), "nothing"},
        {"an extension", {.base = 0x0003'0000'0000'0021, .attributes = {}}, "\"extension\":\"inode 0x28 base 0x21\"]"},
        {"across a sector end", with({resident(0x80, bytes(336 - 24)), torn}),
         R"("name":"crosses a sector end";"parent":"0x05")"},
        {"up to the record's last word", with({resident(0x80, bytes(352 - 24)), name(5, std::u16string(255, u'n'))}),
         "\"name\":\"" + std::string(255, 'n') + R"(";"parent":"0x05")"},
    };
    for (const auto& [what, record, expected] : rows)
        EXPECT_EQ(shown_of(record), expected) << what;

    for (const u32 length : {0u, 1024u - 72, 1024u - 72 + 1, 0xFFFF'FFFFu}) {  // of the first attribute
        const bytes first = pack(name(5, u"fills the record"), at{4}, length);
        EXPECT_EQ(shown_of(with({first, name(6, u"z")})),
                  length == 1024 - 72 ? R"("name":"fills the record";"parent":"0x05")" : "nothing");
    }
    const name_image dos{.space = 2, .real_size = 5}, longer{.real_size = 6}, last{.real_size = 7};
    const bytes three = mft_of({{.number = 0, .attributes = {dos.attribute(), longer.attribute(), last.attribute()}}});
    EXPECT_TRUE(mft_rows(three)[0][details_cell].ends_with(R"("real_size":"0x06"])"));
    bytes image = mft_of({{.number = 0, .attributes = {resident(0x80, bytes(336 - 24)), torn}}});
    image[510] ^= 1;  // kept: a torn sector is taken as it is
    EXPECT_EQ(shown(image), texts{R"(00 "name":"crosses a sector end";"parent":"0x05")"});
}

// The path of each folder by its MFT row: names up to the root, or as far as folders are known.
TEST(folders, have_paths_up_to_the_root) {
    struct folder {
        u32 number;
        u64 parent;
        std::u16string name;
        std::string path;
    };
    const std::vector<folder> groups[] = {
        {{5, 5, u".", "[root]/."}, {31, 32, u"c", "[root]\\b\\c"}, {32, 5, u"b", "[root]/b"}},
        {{40, 5, u"no record of the root", ""}, {41, 40, u"x", "[root]\\no record of the root\\x"}},
        {{41, 42, u"lost", ""}, {43, 41, u"x", "[unk_inode_0x0000002a]\\lost\\x"}},
        {{45, 5, u"", ""}, {46, 45, u"x", "[root]\\[unk_inode_0x0000002d]\\x"}},
        {{44, 0x1234'5678'9ABC, u"far", ""}, {47, 44, u"x", "[unk_inode_0x123456789abc]\\far\\x"}},
        {{50, 51, u"x", "lost\\x"}, {51, 0, u"lost", ""}},
        {{60, 60, u"own", "own\\own"}, {61, 60, u"x", "own\\x"}},
        {{53, 54, u"x", "own\\x"}, {54, 54, u"own", "own\\own"}},
        {{50, 51, u"a", "b\\a"}, {51, 50, u"b", "b\\a\\b"}},
        {{55, 56, u"leaf", "c\\b\\leaf"}, {56, 57, u"b", "c\\b"}, {57, 56, u"c", "c\\b\\c"}},
    };
    for (const std::vector<folder>& group : groups) {
        std::vector<file_record> records;
        std::vector<std::string> expected, found;
        for (const folder& f : group) {
            records.push_back({.number = f.number, .flags = 3, .attributes = {name(f.parent | u64{1} << 48, f.name)}});
            expected.push_back(f.path);
        }
        for (const row_cells& row : mft_rows(mft_of(records)))
            found.push_back(row[path_cell]);
        EXPECT_EQ(found, expected);
    }
}

// Whatever they lead to brings a parent of its own.
file_record extension(u32 number, const bytes& list = {}) {
    return {.number = number, .base = 0x0001'0000'0000'0028, .attributes = {name(1000 + number, u"e"), list}};
}

std::size_t parents_of(const std::string& text) {
    std::size_t count = 0;
    for (std::size_t at = text.find("\"parent\""); at != text.npos; at = text.find("\"parent\"", at + 1))
        ++count;
    return count;
}

// A base record that lists others, among them itself, one twice, one that lists a further one, and one out of reach.
TEST(attribute_list, leads_to_other_file_records) {
    const std::vector<file_record> others = {extension(1), extension(2, resident(0x20, list_value({2, 1, 3, 40}))),
                                             extension(3)};
    const bytes list = list_value({40, 1, 1, 2, 900'000, 0});
    const std::string one = R"("name":"e";"parent":"0x03E9")", two = one + R"(;"parent":"0x03EA")";
    EXPECT_EQ(shown_of(with({resident(0x20, list)}), others), two + R"(;"parent":"0x03EB")");
    EXPECT_EQ(shown_of(with({resident(0x20, list_value({1, 2}, 23))}), others), one);

    // Kept: the clusters of a list are counted from the MFT file's own beginning.
    const std::tuple<const char*, bytes, std::string> rows[] = {
        {"there", nonresident(0x20, {0x11, 1, 2, 0}), two},
        {"99, then 99 - 97", nonresident(0x20, {0x11, 1, 99, 0x11, 1, 0x9F, 0}), two},
        {"not initialised", nonresident(0x20, {0x11, 1, 2, 0}, {.initialized_size = 0}), "nothing"},
        {"no list there", nonresident(0x20, {0x11, 1, 3, 0}), "nothing"},
    };
    for (const auto& [what, attribute, expected] : rows) {
        bytes mft = mft_of({extension(1),
                            {.number = 2, .base = 40, .attributes = {name(1002, u"e")}},
                            {.number = 40, .attributes = {attribute}}});
        lay(mft, 2 * 4096, list_value({1, 2}));
        const texts found = shown(mft);
        const bool there = !found.empty() && found.back().starts_with("28 ");
        EXPECT_EQ(there ? found.back().substr(3) : "nothing", expected) << what;
    }
}

// Every list names the record after it: a chain as deep as lists are followed.
TEST(attribute_list, is_followed_within_bounds) {
    for (const bool deep : {true, false}) {
        std::vector<file_record> records = {with({resident(0x20, list_value({1}))})};
        records[0].number = 0;
        for (u32 number = 1; number < 1500; ++number) {
            numbers listed = {number + 1};
            for (u64 child = 20 * number; !deep && child < 20 * number + 20; ++child)
                listed.push_back(1 + child % 1499);
            records.push_back(extension(number, resident(0x20, list_value(listed))));
        }
        EXPECT_EQ(parents_of(shown(mft_of(records, 1500))[0]), deep ? 32u : 1024u);
    }
}

constexpr auto fields = [](const run_record& r) { return std::pair(r.lcn, r.clusters); };

TEST(decode_runs, adds_up_the_steps) {
    const std::tuple<const char*, bytes, std::vector<run_record>> rows[] = {
        {"forward and back", {0x21, 4, 0x34, 2, 0x11, 2, 0xF0, 0}, {{0x234, 4}, {0x224, 2}}},
        {"sparse stays in place", {0x11, 4, 7, 0x01, 9, 0}, {{7, 4}, {7, 9}}},
        {"length cut to 32 bits", {0x15, 1, 0, 0, 0, 1, 2, 0}, {{2, 1}}},
        {"no length", {0x10, 5, 0}, {{5, 0}}},
        {"eight bytes of step", {0x81, 1, 0xFE, 255, 255, 255, 255, 255, 255, 255, 0}, {{~0ull - 1, 1}}},
        {"bytes beyond the eighth", {0x91, 1, 3, 0, 0, 0, 0, 0, 0, 0, 0x80, 0}, {{3, 1}}},
        {"cut off", {0x11, 1, 2, 0x44, 1, 2, 3, 4, 5, 6, 7}, {{2, 1}}},
        {"empty", {0}, {}},
    };
    for (const auto& [what, list, expected] : rows) {
        SCOPED_TRACE(what);
        const bytes padded = nonresident(0xA0, list, {.first_vcn = 9});
        const uni::byte_view attribute = uni::byte_view(std::span(padded)).slice(0, 64 + list.size());
        std::vector<run_record> runs;
        EXPECT_TRUE(decode_runs(attribute, runs));
        EXPECT_TRUE(std::ranges::equal(runs, expected, {}, fields, fields));
        for (std::size_t length = 1; length < attribute.size(); ++length)
            EXPECT_EQ(decode_runs(attribute.slice(0, length), runs),
                      length < 34 || length >= 64);  // 34: the offset's end
    }
}

}  // namespace
}  // namespace kest::disk
