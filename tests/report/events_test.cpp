// Events of hand-made transactions, for what the sample cannot show.

#include "support/made_run.h"

namespace kest::disk {
namespace {

using texts = std::vector<std::string>;

constexpr u64 noon = 130'000'000'000'000'000;  // 2012-12-14 23:06:40
constexpr u64 hour = 36'000'000'000;
constexpr u64 root = 0x0005'0000'0000'0005;
constexpr u64 file = 0x0001'0000'0000'0028;
constexpr u64 folder = 0x0001'0000'0000'001E, other_folder = 0x0001'0000'0000'001F;

// Transactions one after the other. The first record has the LSN 1000, each further one 10 more.
class story {
public:
    story& add(std::vector<record> steps, bool cut = false) {
        u64 previous = cut ? 990 : 0;
        for (record& step : steps) {
            step.lsn = 1000 + 10 * m_records.size();
            step.previous = std::exchange(previous, step.lsn);
            m_records.push_back(step);
        }
        return *this;
    }

    bytes image() const { return log_of_pages(m_records); }

    // These cells of each event of the file records from 40 on.
    texts told(const std::vector<std::size_t>& cells, const argument_list& more = {}) const {
        const memory_file log(image());
        argument_list args = {"-quiet", "-no_whitespace", "-events", "-base10", "-log", log.path()};
        args.insert(args.end(), more.begin(), more.end());
        std::istringstream report(run_captured(args).out);
        texts all;
        std::string line;
        for (int lines = 0; std::getline(report, line); ++lines) {
            row_cells row(1);
            for (const char c : line) {
                if (c == '|')
                    row.emplace_back();
                else
                    row.back() += c;
            }
            if (lines < 4 || std::stoul(row.at(6)) < 40) continue;
            all.emplace_back();
            for (const std::size_t cell : cells)
                all.back() += (all.back().empty() ? "" : "|") + row.at(cell);
        }
        return all;
    }
    texts told() const { return told({2, 3, 4, 12}); }

private:
    std::vector<record> m_records;
};

bytes entry(u64 reference, u64 parent, const std::u16string& name, u8 space = 1) {
    const bytes key = name_image{.parent = parent, .name = name, .space = space}.value();
    return pack(reference, static_cast<u16>(padded(16 + key.size())), static_cast<u16>(key.size()), u32{0}, key,
                at{padded(16 + key.size())});
}
record came(u64 reference, u64 parent, const std::u16string& name, u8 space = 1) {
    return {.redo_op = 14, .undo_op = 15, .redo = entry(reference, parent, name, space)};
}
record went(u64 reference, u64 parent, const std::u16string& name, u8 space = 1) {
    return {.redo_op = 15, .undo_op = 14, .undo = entry(reference, parent, name, space)};
}
// Of the file record 40, in clusters of 4096 bytes.
record to_record(u16 redo_op, u16 undo_op, const bytes& redo, const bytes& undo, u16 offset = 152) {
    return {.redo_op = redo_op,
            .undo_op = undo_op,
            .record_offset = offset,
            .block_size = 2,
            .vcn = 10,
            .redo = redo,
            .undo = undo};
}
record got(u64 parent, const std::u16string& name, u8 space = 1) {
    return to_record(5, 6, name_image{.parent = parent, .name = name, .space = space}.attribute(), {});
}
record lost(u64 parent, const std::u16string& name, u8 space = 1) {
    return to_record(6, 5, {}, name_image{.parent = parent, .name = name, .space = space}.attribute());
}
record undoing(u16 redo_op, u64 left) {
    return {.undo_next = left, .redo_op = redo_op, .undo_op = 1};
}
record end() {
    return {.redo_op = 27, .undo_op = 1};
}
record born(const std::vector<u64>& times, u16 sequence = 1, const std::u16string& name = u"a") {
    const file_record made{.sequence = sequence,
                           .attributes = {resident(0x10, pack(times[0], times[1], times[2], times[3], at{72})),
                                          name_image{.name = name}.attribute()}};
    record step = to_record(2, 0, made.image(), {}, 0);
    step.redo.resize(400);
    return step;
}
record freed(u16 sequence = 1) {
    return to_record(3, 2, {}, pack(u32{0x454C4946}, at{16}, sequence, u16{1}, u16{56}, u16{1}), 0);
}
record standard(u16 place, const bytes& before, const bytes& after) {
    record step = to_record(7, 7, after, before, 72);
    step.attribute_offset = static_cast<u16>(24 + place);
    return step;
}
record journal(u32 reason, u64 time = noon) {
    return {.redo_op = 8, .redo = usn_image{.file = file, .time = time, .reason = reason}.image()};
}

TEST(events, tell_what_became_of_names) {
    const std::vector<record> renaming = {went(file, root, u"a"), lost(root, u"a"), got(root, u"b"),
                                          came(file, root, u"b")};
    const auto with = [&renaming](std::vector<record> more) {
        more.insert(more.begin(), renaming.begin(), renaming.end());
        return more;
    };
    const struct {
        const char* what;
        std::vector<record> steps;
        bool cut;
        texts told;
    } rows[] = {
        {"short names are no names of their own",
         {went(file, root, u"long name"), lost(root, u"long name"), lost(root, u"LONGNA~1", 2),
          went(file, root, u"LONGNA~1", 2), got(root, u"new name"), came(file, root, u"new name"),
          got(root, u"NEWNAM~1", 2), came(file, root, u"NEWNAM~1", 2), end()},
         false,
         {"renamed|[root]/new name|[root]/long name|done"}},
        {"nor do they move alone",
         {went(file, folder, u"long name"), went(file, folder, u"LONGNA~1", 2), lost(folder, u"long name"),
          got(other_folder, u"long name"), came(file, other_folder, u"long name"),
          came(file, other_folder, u"LONGNA~1", 2), end()},
         false,
         {"moved|[root]\\two\\long name|[root]\\one\\long name|done"}},
        {"upper case",
         {went(file, root, u"a"), came(file, root, u"A"), end()},
         false,
         {"renamed|[root]/A|[root]/a|done"}},
        {"a link", {came(file, root, u"b"), got(root, u"b"), end()}, false, {"link_added|[root]/b||done"}},
        {"a link goes", {went(file, root, u"b"), lost(root, u"b"), end()}, false, {"link_removed|[root]/b||done"}},
        {"a split lifts an entry", {{.redo_op = 16, .undo_op = 16}, came(file, root, u"b"), end()}, false, {}},
        {"an entry moves in its tree", {went(file, root, u"a"), came(file, root, u"a"), end()}, false, {}},
        {"not ended", renaming, false, {"renamed|[root]/b|[root]/a|open"}},
        {"rolled back",
         with({undoing(15, 1060), undoing(6, 1050), undoing(5, 1040), undoing(14, 0), end()}),
         false,
         {"renamed|[root]/b|[root]/a|undone"}},
        {"rolled back to the end of a nested action",
         with({undoing(24, 1030), went(file, root, u"b"), came(file, root, u"c"), undoing(15, 1090), undoing(14, 1080),
               end()}),
         false,
         {"renamed|[root]/b|[root]/a|done", "renamed|[root]/c|[root]/b|undone"}},
        {"half an entry's move", {came(file, root, u"b"), end()}, true, {}},
        {"the entry that went is lost",
         {lost(root, u"a"), got(root, u"b"), came(file, root, u"b"), end()},
         true,
         {"renamed|[root]/b|[root]/a|cut; done"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(story()
                      .add({came(folder, root, u"one"), came(other_folder, root, u"two"), end(), end()})
                      .add(row.steps, row.cut)
                      .told(),
                  row.told);
    }
}

TEST(events, belong_to_the_file_that_the_record_held_then) {
    const story reuse =
        story()
            .add({went(file, root, u"old"), freed(), end()})
            .add({born({noon, noon, noon, noon}, 2, u"new"), came(file + (u64{1} << 48), root, u"new"), end()})
            .add({standard(32, pack(u32{0x20}), pack(u32{0x22})), end()});
    EXPECT_EQ(reuse.told({2, 3, 5, 7}),
              (texts{"deleted|[root]/old|log|1", "created|[root]/new|log|2", "attributes_set|[root]/new|log|2"}));
}

TEST(events, tell_a_reason_once_until_the_file_is_closed) {
    const story writing = story()
                              .add({journal(0x2), end()})
                              .add({journal(0x3, noon + hour), end()})
                              .add({journal(0x8000'0003), end()})
                              .add({journal(0x1), end()});
    EXPECT_EQ(writing.told({0, 1, 2, 13}),
              (texts{"2012-12-14 23:06:40.000000000|journal|data_appended|data_appended",
                     "2012-12-15 00:06:40.000000000|journal|data_overwritten|data_overwritten; data_appended",
                     "2012-12-14 23:06:40.000000000|journal|data_overwritten|data_overwritten"}));
}

TEST(events, have_the_name_that_a_journal_record_of_the_transaction_tells) {
    EXPECT_EQ(story().add({standard(32, pack(u32{0x20}), pack(u32{0x21})), journal(0x8000), end()}).told(),
              texts{"attributes_set|[root]/a.txt||done"});
}

TEST(events, tell_times_that_were_set_from_those_that_had_to_be) {
    const std::vector<u64> fresh = {noon, noon, noon, noon};
    const record make = born(fresh);
    const record name = came(file, root, u"a");
    const record touch = standard(24, pack(noon), pack(noon + 5 * hour));
    const auto modified = [](u64 before, u64 after) { return standard(8, pack(before), pack(after)); };
    const auto created = [](u64 after) { return standard(0, pack(noon), pack(after)); };
    const struct {
        const char* what;
        std::vector<std::vector<record>> transactions;
        texts told;
    } rows[] = {
        {"of an old file",
         {{make, name, end()}, {touch, end()}, {modified(noon + 2 * hour, noon - hour), end()}},
         {"created", "times_set"}},
        {"of a copy", {{make, name, end()}, {touch, end()}, {modified(noon, noon - hour), end()}}, {"created"}},
        {"the creation of a file",
         {{make, name, end()}, {touch, end()}, {created(noon - hour), end()}},
         {"created", "times_set"}},
        {"by who made the file", {{make, name, end()}, {created(noon - hour), end()}}, {"created"}},
        {"tunnelled",
         {{went(file + 1, root, u"A"), end()}, {make, name, end()}, {touch, end()}, {created(1), end()}},
         {"created"}},
        {"later", {{make, name, end()}, {touch, end()}, {modified(noon, noon + hour), end()}}, {"created"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        story all;
        for (const auto& steps : row.transactions)
            all.add(steps);
        texts told = all.told({2});
        std::erase(told, "link_removed");
        EXPECT_EQ(told, row.told);
    }
}

TEST(events, find_file_records_on_volumes_of_any_cluster_size) {
    for (const u64 size : {512, 1024, 2048, 4096, 65536}) {
        SCOPED_TRACE(size);
        const auto place = [size](record step) {
            step.vcn = 40 * 1024 / size;
            step.cluster_block = static_cast<u16>(40 * 1024 % size / 512);
            return step;
        };
        const story made = story()
                               .add({place(born({noon, noon, noon, noon})), came(file, root, u"a"), end()})
                               .add({journal(0x8000), place(standard(32, pack(u32{0x20}), pack(u32{0x21}))), end()});
        EXPECT_EQ(made.told({2, 6}), (texts{"created|40", "attributes_set|40"}));
        // A row of a step that names a place alone. In the first cluster no record tells the size.
        const auto row_tells = [&made](const argument_list& more) {
            return rows_of(made.image(), {}, {}, more).at(4).at(inode_cell) == "0x28";
        };
        EXPECT_EQ(row_tells({"-cluster_size", "auto"}), size != 65536);
        EXPECT_TRUE(row_tells({"-cluster_size", std::to_string(size)}));
        EXPECT_EQ(row_tells({}), size == 4096);
    }
}

TEST(events, keep_names_on_their_line) {
    EXPECT_EQ(story()
                  .add({came(file, root, u"a\n\u001B\u0085\"];x\\"), got(root, u"a\n\u001B\u0085\"];x\\"), end()})
                  .told({3, 15}),
              texts{R"([root]/a[LF][0x1B][0x85]"];x\|before=[];after=["name":"a[LF][0x1B][0x85]\"];x\\"])"});
}

}  // namespace
}  // namespace kest::disk
