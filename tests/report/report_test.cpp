// What the report makes of logs, MFTs and journals together, by whole runs over small ones.

#include "support/made_run.h"

namespace kest::disk {
namespace {

using texts = std::vector<std::string>;

constexpr u64 noon = 130'000'000'000'000'000;  // 2012-12-14 23:06:40
constexpr u64 minute = 600'000'000;

// "time of day|ref|action|level|op_pattern|inode|path" of each row.
texts reported(const std::vector<record>& records, const bytes& mft = {}, const bytes& journal = {},
               const argument_list& more = {}) {
    texts all;
    for (const row_cells& row : rows_of(log_of_pages(records), mft, journal, more)) {
        all.push_back(row[time_cell].empty() ? "" : row[time_cell].substr(11, 8));
        for (const cell shown : {ref_cell, action_cell, level_cell, pattern_cell, inode_cell, path_cell})
            all.back() += '|' + row[shown];
    }
    return all;
}

record member(u64 lsn, u16 redo_op, bytes redo = {}) {
    return {.lsn = lsn, .previous = lsn - 1, .redo_op = redo_op, .redo = std::move(redo)};
}

bytes journal_record(u64 time, u32 reason) {
    return usn_image{.file = 0x0001'0000'0000'0032, .time = time, .reason = reason}.image();
}

bytes modified_at(u64 time, u64 usn = 0) {
    return resident(0x10, pack(u64{0}, time, at{64}, usn));
}

// File records of which no folder is known.
bytes mft_of(std::vector<file_record> records) {
    records.insert(records.begin(), {.number = 0});
    return mft_image(records, 100);
}

TEST(report, names_events_by_the_redo_operation) {
    EXPECT_EQ(reported({{.lsn = 10, .redo_op = 2}, member(11, 3), member(12, 9), member(13, 27), member(20, 2)}),
              (texts{"|| file_created|root|02-03-09-1b||", "|| file_deleted|..sub-op|-- 0x03||",
                     "||changing_allocated_space|..sub-op|-- 0x09||", "|||..sub-op|-- 0x1b||"}))
        << "the record that no head reaches has no row";
}

TEST(report, kept_a_head_with_a_journal_record_shows_its_time_and_no_reason) {
    EXPECT_EQ(reported({{.lsn = 10, .redo_op = 2},
                        member(11, 8, journal_record(noon, 0x100)),
                        member(12, 8, journal_record(noon - 60 * minute, 0x200)),
                        member(13, 27),
                        {.lsn = 20, .redo_op = 3}}),
              (texts{"22:06:40||file_deleted|root|02-08-08-1b||",
                     "22:06:40||file_deleted|..sub-op|-- 0x08|0x32|<unk_path>\\a.txt",
                     "22:06:40|<- usnjrnl|file_deleted|..sub-op|-- 0x08|0x32|<unk_path>\\a.txt",
                     "22:06:40||file_deleted|..sub-op|-- 0x1b||", "22:06:40|| file_deleted|root|03||"}))
        << "the later record overrides, and the earlier time holds on";
    EXPECT_EQ(reported({{.lsn = 10, .redo_op = 8, .redo = journal_record(noon, 0x100)}, member(11, 9)}),
              (texts{"23:06:40|||root|08-09|0x32|<unk_path>\\a.txt",
                     "23:06:40||changing_allocated_space|..sub-op|-- 0x09||"}));
}

TEST(report, visits_mft_records_in_lsn_order) {
    std::vector<file_record> records;
    for (const auto& [lsn, minutes] : {std::pair{5, 0}, {10, 1}, {12, 2}, {90, 60}}) {
        records.push_back({.number = static_cast<u32>(60 + records.size()), .lsn = static_cast<u64>(lsn)});
        records.back().attributes.push_back(modified_at(noon + static_cast<u64>(minutes) * minute));
    }
    const std::vector<record> chain = {{.lsn = 10, .redo_op = 9}, {.lsn = 20, .previous = 10, .redo_op = 9}};
    const texts plain = {"23:07:40||changing_allocated_space|root|09-09|0x3D|",
                         "23:08:40||changing_allocated_space|..sub-op|-- 0x09||"};
    EXPECT_EQ(reported(chain, mft_of(records)), plain)
        << "older records raise the time, an equal LSN gives the inode, later ones count for nothing";
    EXPECT_EQ(reported(chain, mft_of(records), {}, {"-showall_inodes"}),
              (texts{"23:06:40|||mft||0x3C|", plain[0], "23:08:40|||mft||0x3E|", plain[1]}));
}

TEST(report, an_mft_record_leads_to_the_journal_file) {
    const bytes mft =
        mft_of({{.number = 61, .lsn = 11, .attributes = {name_image{}.attribute(), modified_at(noon, 0x500)}}});
    const bytes journal = pack(usn_image{.usn = 0x500, .time = noon - minute, .reason = 0x80000100}.image(), at{4096});
    EXPECT_EQ(reported({{.lsn = 10, .redo_op = 2}, member(11, 9)}, mft, journal),
              (texts{"23:05:40||file_created|root|02-09||", "23:05:40|<- usnjrnl|file_created|..sub-op|-- 0x09|0x3D|"}))
        << "the close bit has no word here";
}

constexpr u64 reference(u64 number, u64 sequence) {
    return number | sequence << 48;
}

constexpr u64 root = reference(5, 5), docs = reference(40, 2), file = reference(50, 3);

file_record named(u64 own, u64 parent, std::u16string name, u16 flags) {
    return {.number = static_cast<u32>(own),
            .sequence = static_cast<u16>(own >> 48),
            .flags = flags,
            .attributes = {name_image{.parent = parent, .name = std::move(name)}.attribute()}};
}

// The root, a folder in it, a file in that; and what else is asked for.
bytes volume_with(std::vector<file_record> more = {}) {
    for (file_record& record : std::vector<file_record>{
             {.number = 0}, named(root, root, u".", 3), named(docs, root, u"docs", 3), named(file, docs, u"a.txt", 1)})
        more.insert(more.begin(), std::move(record));
    std::ranges::sort(more, {}, &file_record::number);
    return mft_image(more, 64);
}

// Log records that tell a file, and its parent and name if there are any.
struct said {
    u64 file, parent = 0;
    std::u16string name = {};
};

// The path of each row and what association has to say after it.
texts associated(const std::vector<said>& all, const bytes& mft, const argument_list& more = {}) {
    std::vector<record> records;
    for (const said& s : all) {
        const bytes key =
            pack(s.parent, at{64}, static_cast<u8>(s.name.size()), u8{1}, s.name, at{68 + 2 * s.name.size()});
        const bytes entry = pack(s.file, static_cast<u16>(16 + key.size()), static_cast<u16>(key.size()), u32{0}, key);
        records.push_back({.lsn = 100 + records.size(), .redo_op = 14, .redo = entry});
    }
    texts out;
    for (const row_cells& row : rows_of(log_of_pages(records), mft, {}, more)) {
        const std::size_t own = row[details_cell].find(";mft=[");
        out.push_back(row[path_cell] + ' ' + (own == std::string::npos ? "" : row[details_cell].substr(own + 6)));
    }
    return out;
}

TEST(association, ranks_its_sources) {
    const std::string a = R"([root]\docs\a.txt "inode":"0x32";"seq":"0x03";"name":"a.txt";"path":"[root]\docs\a.txt")";
    const std::string n = R"([root]\docs\n "inode":"0x4D";"seq":"0x0)";
    const std::string n_path = R"(";"name":"n";"path":"[root]\docs\n"])";
    const std::string mismatch = R"(<unk_path>\x "inode":"0x32";"seq":"0x04";"mismatch":"parent differs";)"
                                 R"("name":"a.txt";"path":"[root]\docs\a.txt"])";
    const std::string number_now =
        R"(*[root]\docs\ "inode":"0x28";"seq":"0x02";"name":"docs";"path":"[root]\docs\";"parent":"0x05"])";
    const u64 next = reference(50, 4), unknown = reference(77, 0);
    const std::tuple<const char*, said, std::string> rows[] = {
        {"no parent fits", {next, root, u"x"}, mismatch},
        {"exact, no parent named", {file}, a + R"(;"parent":"0x28"])"},
        {"exact, the store's parent", {file, docs, u"a.txt"}, a + "]"},
        {"exact, an earlier user of the parent's record", {file, reference(40, 1), u"a.txt"}, "*" + a + "]"},
        {"exact, another name", {file, docs, u"b.txt"}, "*" + std::string(a).replace(12, 1, "b") + "]"},
        {"exact, a parent that is no folder", {file, file, u"a.txt"}, "<unk_path>\\a.txt "},
        {"one lower", {next}, std::string(a).replace(a.find("03"), 2, "04") + R"(;"parent":"0x28"])"},
        {"from the log alone", {reference(77, 1), docs, u"n"}, n + '1' + n_path},
        {"from the log, without sequence", {unknown, docs, u"n"}, "*" + n + '0' + n_path},
        {"the parent's sequence is guessed", {unknown, 40, u"n"}, "*" + n + '0' + n_path},
        {"the folder that has the number now", {reference(40, 9)}, number_now},
        {"nothing fits", {reference(78, 9), 0, u"n"}, "<unk_path>\\n "},
        {"a sequence that differs",
         {next, reference(40, 7), u"x"},
         std::string(mismatch).replace(mismatch.find("parent"), 6, "seq")},
    };
    for (const auto& [what, record, expected] : rows)
        EXPECT_EQ(associated({record}, volume_with()), texts{expected}) << what;
    for (const said& guessed : {said{unknown, 40, u"n"}, said{reference(40, 9)}})
        EXPECT_EQ(associated({guessed}, volume_with(), {"-no_guesses"})[0].find("[root]"), std::string::npos);
}

TEST(association, learns_what_the_log_proves) {
    const u64 fresh = reference(41, 1), moved = reference(42, 1);
    const std::string name = "[root]\\new\\moved.txt ";
    const auto paths = [](const std::vector<said>& all, const bytes& mft) {
        texts found = associated(all, mft);
        for (std::string& text : found)
            text.resize(text.find(' ') + 1);
        return found;
    };
    EXPECT_EQ(paths({{file, fresh, u"moved.txt"}, {file}, {file, reference(40, 9), u"b"}, {file}},
                    volume_with({named(fresh, root, u"new", 3)})),
              (texts{name, name, "*[root]\\docs\\b ", name}))
        << "no folder of that sequence: reported, not learnt";
    file_record folder = named(moved, 5, u"d", 3);
    folder.attributes.push_back(name_image{.parent = 40, .name = u"d"}.attribute());
    // From the first on another record answers by reference than by number.
    EXPECT_EQ(paths({{moved, fresh, u"d"}, {reference(42, 9), 40}, {moved}},
                    volume_with({named(fresh, root, u"new", 3), folder}))[2],
              "[root]\\docs\\d ");
    file_record extension = named(reference(60, 1), docs, u"a", 1);
    extension.base = file;
    const std::string based = associated({{reference(60, 1)}}, volume_with({extension}))[0];
    EXPECT_TRUE(based.starts_with(R"([root]\docs\a.txt "base":"0x32 extension- 0x3C";"inode":"0x32")")) << based;
}

// Index runs of folders; after them which folder a cluster belongs to, 0 for none.
TEST(association, kept_the_lowest_run_never_answers_to_its_own_first_cluster) {
    std::vector<file_record> folders = {named(reference(30, 1), root, u"0x1E", 3),
                                        named(reference(31, 1), root, u"0x1F", 3),
                                        named(reference(32, 1), root, u"0x20", 3)};
    folders[0].attributes.push_back(nonresident(0xA0, {0x21, 8, 200, 0, 0}));
    folders[1].attributes.push_back(nonresident(0xA0, {0x11, 10, 100, 0x21, 0, 200, 0, 0}));
    folders[2].attributes.push_back(nonresident(0xA0, {0x21, 8, 200, 0, 0}));
    const std::vector<std::pair<u64, const char*>> owners = {
        {99, ""},      {100, ""}, {101, "0x1F"}, {109, "0x1F"}, {110, "0x1F"},  // right after the run
        {111, ""},     {199, ""}, {200, "0x1E"}, {208, "0x1E"}, {209, ""},      // the first of equal runs stays
        {300, "0x1F"}, {301, ""}, {~u64{0}, ""}};
    std::vector<record> records;
    for (const auto& [lcn, owner] : owners)
        records.push_back({.lsn = 100 + records.size(), .redo_op = 9, .lcn = lcn});
    const std::vector<row_cells> rows = rows_of(log_of_pages(records), volume_with(folders));
    ASSERT_EQ(rows.size(), owners.size());
    for (std::size_t at = 0; at < rows.size(); ++at) {
        const std::string owner = owners[at].second, path = "[root]\\" + owner + "\\";
        const std::string details = R"(mft=["inode":")" + owner + R"(";"parent":"0x05";"path":")" + path + "\"]";
        EXPECT_EQ(rows[at][details_cell], owner.empty() ? "" : details) << owners[at].first;
        EXPECT_EQ(rows[at][path_cell], owner.empty() ? "" : path) << owners[at].first;
    }
}

}  // namespace
}  // namespace kest::disk
