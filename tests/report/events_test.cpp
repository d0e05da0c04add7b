// Events of hand-made transactions, for what the sample cannot show.

#include <filesystem>

#include "make/log_writer.h"
#include "support/made_run.h"

namespace kest::disk {
namespace {

using texts = std::vector<std::string>;

constexpr u64 noon = 130'000'000'000'000'000;  // 2012-12-14 23:06:40
constexpr u64 hour = 36'000'000'000;
constexpr u64 root = 0x0005'0000'0000'0005;
constexpr u64 file = 0x0001'0000'0000'0028;
constexpr u64 extend = 0x000B'0000'0000'000B;
constexpr u64 in_41 = 0x0001'0000'0000'0029;
constexpr u64 folder = 0x0001'0000'0000'001E, other_folder = 0x0001'0000'0000'001F;

texts split(const std::string& line, char separator) {
    texts cells(1);
    for (const char c : line) {
        if (c == separator)
            cells.emplace_back();
        else
            cells.back() += c;
    }
    return cells;
}

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

    // The columns of these titles of each event, joined by "|", except those of `folder` and `other_folder`; with the
    // state whether it is cut. Where no event is expected the run is to succeed all the same.
    texts events(const std::string& titles, const argument_list& more = {}) const {
        const memory_file log(image());
        argument_list args = {"-quiet", "-no_whitespace", "-events", "-base10"};
        if (!m_records.empty()) args.insert(args.end(), {"-log", log.path()});
        args.insert(args.end(), more.begin(), more.end());
        const captured_run ran = run_captured(args);
        EXPECT_EQ(ran.status, 0) << ran.err;
        std::istringstream report(ran.out);
        std::string line;
        for (int lines = 0; lines < 4; ++lines)
            std::getline(report, line);
        const texts columns = split(line, '|');
        texts all;
        while (std::getline(report, line)) {
            texts row = split(line, '|');
            const auto cell = [&](const std::string& title) -> std::string& {
                return row.at(static_cast<std::size_t>(std::ranges::find(columns, title) - columns.begin()));
            };
            if (cell("inode") == "30" || cell("inode") == "31") continue;
            if (cell("cut") == "yes") cell("state") += ", cut";
            all.emplace_back();
            for (const std::string& title : split(titles, ','))
                all.back() += (all.back().empty() ? "" : "|") + cell(title);
        }
        return all;
    }
    texts events() const { return events("event,path,old_path,state"); }

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
record freed(u16 sequence = 1, u16 flags = 1) {
    return to_record(3, 2, {}, pack(u32{0x454C4946}, at{16}, sequence, u16{1}, u16{56}, flags), 0);
}
record standard(u16 place, const bytes& before, const bytes& after) {
    record step = to_record(7, 7, after, before, 72);
    step.attribute_offset = static_cast<u16>(24 + place);
    return step;
}
record logged(const usn_image& image) {
    return {.redo_op = 8,
            .attribute_offset = static_cast<u16>(image.usn % 512),
            .cluster_block = static_cast<u16>(image.usn % 4096 / 512),
            .vcn = image.usn / 4096,
            .redo = image.image()};
}
record journal(u32 reason, u64 time = noon) {
    return logged({.file = file, .time = time, .reason = reason});
}

// A journal file's page: its records one after the other, and so their USNs where a case says nothing of them.
bytes page_of(const std::vector<usn_image>& records) {
    bytes page;
    for (usn_image record : records) {
        if (record.usn == usn_image{}.usn) record.usn += page.size();
        page = pack(page, record.image());
    }
    return pack(page, at{4096});
}
// With the last cells, those of all events that a journal file brings.
texts with_journal(const bytes& journal_file, const story& log = {},
                   const std::string& columns = "event,path,old_path,known") {
    const memory_file input(journal_file);
    return log.events(columns, {"-jrnlfile", input.path()});
}

record of_type(u32 type, record step) {
    step.type = type;
    return step;
}
record written(const file_record& made) {
    record step = to_record(2, 0, part(made.image(), 0, 500), {}, 0);
    step.cluster_block = static_cast<u16>(made.number % 4 * 2);
    return step;
}

record of_41(record step) {
    step.cluster_block = 2;
    return step;
}

struct transaction_row {
    const char* what;
    std::vector<record> steps;
    bool cut;
    texts expected;
};

TEST(events, tell_what_became_of_names) {
    const std::vector<record> renaming = {went(file, root, u"a"), lost(root, u"a"), got(root, u"b"),
                                          came(file, root, u"b")};
    const record taken = to_record(0, 3, {}, {}, 0);
    const record make = born({noon, noon, noon, noon}), flagged = standard(32, pack(u32{0x20}), pack(u32{0x21}));
    const auto with = [&renaming](std::vector<record> more) {
        more.insert(more.begin(), renaming.begin(), renaming.end());
        return more;
    };
    const transaction_row rows[] = {
        {"short names are no names of their own",
         {went(file, root, u"long name"), lost(root, u"long name"), lost(root, u"LONGNA~1", 2),
          went(file, root, u"LONGNA~1", 2), got(root, u"new name"), came(file, root, u"new name"),
          got(root, u"NEWNAM~1", 2), came(file, root, u"NEWNAM~1", 2), end()},
         false,
         {"renamed|[root]\\new name|[root]\\long name|done"}},
        {"nor do they move alone",
         {went(file, folder, u"long name"), went(file, folder, u"LONGNA~1", 2), lost(folder, u"long name"),
          got(other_folder, u"long name"), came(file, other_folder, u"long name"),
          came(file, other_folder, u"LONGNA~1", 2), end()},
         false,
         {"moved|[root]\\two\\long name|[root]\\one\\long name|done"}},
        {"upper case",
         {went(file, root, u"a"), came(file, root, u"A"), end()},
         false,
         {"renamed|[root]\\A|[root]\\a|done"}},
        {"a link", {came(file, root, u"b"), got(root, u"b"), end()}, false, {"link_added|[root]\\b||done"}},
        {"a link goes", {went(file, root, u"b"), lost(root, u"b"), end()}, false, {"link_removed|[root]\\b||done"}},
        {"a split lifts an entry", {{.redo_op = 16, .undo_op = 16}, came(file, root, u"b"), end()}, false, {}},
        {"an entry moves in its tree", {went(file, root, u"a"), came(file, root, u"a"), end()}, false, {}},
        {"not ended", renaming, false, {"renamed|[root]\\b|[root]\\a|open"}},
        {"rolled back",
         with({undoing(15, 1060), undoing(6, 1050), undoing(5, 1040), undoing(14, 0), end()}),
         false,
         {"renamed|[root]\\b|[root]\\a|undone"}},
        {"rolled back to the end of a nested action",
         with({undoing(24, 1030), went(file, root, u"b"), came(file, root, u"c"), undoing(15, 1090), undoing(14, 1080),
               end()}),
         false,
         {"renamed|[root]\\b|[root]\\a|done", "renamed|[root]\\c|[root]\\b|undone"}},
        {"a file record is written again",
         {came(file, root, u"b"), to_record(0, 2, {}, make.redo, 0), make, got(root, u"b")},
         false,
         {"link_added|[root]\\b||open"}},
        {"called as it is named next",
         {flagged, went(file, root, u"a"), went(file, root, u"b"), end()},
         false,
         {"attributes_set|[root]\\a||done", "link_removed|[root]\\a||done", "link_removed|[root]\\b||done"}},
        {"called as it is named after one that went",
         {went(file, root, u"a"), flagged, went(file, root, u"b"), end()},
         false,
         {"link_removed|[root]\\a||done", "attributes_set|[root]\\b||done", "link_removed|[root]\\b||done"}},
        {"called as it is named at all",
         {flagged, came(file, root, u"b"), end()},
         false,
         {"attributes_set|[root]\\b||done", "link_added|[root]\\b||done"}},
        {"called by a short name that became a long one",
         {came(file, root, u"b"), came(file, root, u"x", 2), came(file, root, u"x"), flagged, end()},
         false,
         {"link_added|[root]\\b||done", "link_added|[root]\\x||done", "attributes_set|[root]\\x||done"}},
        {"taken back to a name that stands",
         {came(file, root, u"b"), got(root, u"b"), came(file, root, u"c"), undoing(15, 1050), end()},
         false,
         {"link_added|[root]\\b||done", "link_added|[root]\\c||undone"}},
        {"what takes nothing back",
         with({undoing(25, 0), undoing(0, 0), end()}),
         false,
         {"renamed|[root]\\b|[root]\\a|done"}},
        {"records of another type",
         with({of_type(2, undoing(6, 0)), of_type(2, end())}),
         false,
         {"renamed|[root]\\b|[root]\\a|open"}},
        {"out of the system's folder",
         {went(file, extend, u"a"), came(file, root, u"a"), end()},
         false,
         {"moved|[root]\\a|<unk_path>\\a|done"}},
        {"into it",
         {went(file, root, u"a"), came(file, extend, u"a"), end()},
         false,
         {"moved|<unk_path>\\a|[root]\\a|done"}},
        {"within it", {went(file, extend, u"a"), came(file, extend, u"b"), end()}, false, {}},
        {"one of the system's own files", {came(file - 17, root, u"b"), end()}, false, {}},
        {"the index knows better",
         {went(file, root, u"a"), got(root, u"a"), end()},
         false,
         {"link_removed|[root]\\a||done"}},
        {"a taken record without an image", {taken, came(file, root, u"b")}, false, {"created|[root]\\b||open"}},
        {"of which the beginning is lost",
         {taken, came(file, root, u"b"), end()},
         true,
         {"created|[root]\\b||done, cut"}},
        {"whose name is taken back",
         {taken, came(file, root, u"b"), undoing(15, 1040), end()},
         false,
         {"created|[root]\\b||undone"}},
        {"or that held a file all the while",
         {taken, came(file, root, u"b"), end()},
         false,
         {"link_added|[root]\\b||done"}},
        {"half an entry's move", {came(file, root, u"b"), end()}, true, {}},
        {"below a record whose file is not known",
         {got(root, u"x"), came(file + 1, file & 0xFFFF'FFFF, u"b"), end()},
         false,
         {"link_added|[root]\\x||done", "link_added|<unk_path>\\b||done"}},
        {"below an extension record",
         {written({.number = 41, .base = file}), came(file + 2, file + 1, u"b"), end()},
         false,
         {"link_added|<unk_path>\\b||done"}},
        {"the entry that went is lost",
         {lost(root, u"a"), got(root, u"b"), came(file, root, u"b"), end()},
         true,
         {"renamed|[root]\\b|[root]\\a|done, cut"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(story()
                      .add({came(folder, root, u"one"), came(other_folder, root, u"two"), end(), end()})
                      .add(row.steps, row.cut)
                      .events(),
                  row.expected);
    }
}

TEST(events, tell_births_and_ends_from_other_writes_of_file_records) {
    const bytes dos = name_image{.name = u"LONG~1", .space = 2}.attribute(),
                named = name_image{.name = u"long"}.attribute(), other = name_image{.name = u"other"}.attribute();
    const auto gone = [](u16 links, u16 flags) {
        return to_record(3, 2, {}, pack(u32{0x454C4946}, at{16}, u16{1}, links, u16{56}, flags), 0);
    };
    const transaction_row rows[] = {
        {"the first long name", {written({.attributes = {dos, named, other}})}, false, {"created|[root]\\long||open"}},
        {"streams, but no later part of one",
         {written({.attributes = {named, resident(0x80, bytes(8), {.name = u"s"}),
                                  nonresident(0x80, bytes(8), {.name = u"t", .first_vcn = 1})}})},
         false,
         {"created|[root]\\long||open", "stream_added|[root]\\long:s||open"}},
        {"an extension record", {written({.number = 41, .base = file})}, false, {}},
        {"what calls itself another record", {of_41(written({}))}, false, {}},
        {"a record that is not in use", {written({.flags = 0})}, false, {}},
        {"after a record that was not in use",
         {to_record(0, 2, {}, part(file_record{.flags = 0}.image(), 0, 400), 0), written({})},
         false,
         {"created|[root]\\a||open"}},
        {"ended without an index entry", {written({}), end()}, false, {}},
        {"the first that is left", {written({}), end()}, true, {}},
        {"after another", {went(file + 1, root, u"x"), written({}), end()}, true, {"created|[root]\\a||done, cut"}},
        {"an end", {gone(1, 1), end()}, false, {"deleted|<unk_path>\\||done"}},
        {"an extension record's end", {gone(0, 1), end()}, false, {}},
        {"a record that was just taken", {to_record(0, 3, {}, {}, 0), gone(1, 1), end()}, false, {}},
        {"of two names",
         {went(file, root, u"a"), lost(root, u"a"), went(file, root, u"b"), lost(root, u"b"), gone(0, 1), end()},
         false,
         {"link_removed|[root]\\b||done", "deleted|[root]\\a||done"}},
        {"of three names",
         {went(file, root, u"a"), went(file, root, u"b"), went(file, root, u"c"), gone(0, 1), end()},
         false,
         {"link_removed|[root]\\b||done", "link_removed|[root]\\c||done", "deleted|[root]\\a||done"}},
        {"a name and an extension record",
         {went(file, root, u"a"), lost(root, u"a"), written({.number = 41, .base = file}), of_41(gone(1, 1)), end()},
         false,
         {"link_removed|[root]\\a||done"}},
        {"a record that was free", {gone(1, 0), end()}, false, {}},
        {"freed and put to use again, without an index entry",
         {gone(1, 1), born({noon, noon, noon, noon}, 2), end()},
         false,
         {"deleted|<unk_path>\\||done", "created|[root]\\a||done"}},
        {"the same, cut",
         {gone(1, 1), born({noon, noon, noon, noon}, 2), end()},
         true,
         {"deleted|<unk_path>\\||done, cut", "created|[root]\\a||done, cut"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(story().add(row.steps, row.cut).events(), row.expected);
    }
    // Both frees are of one record number. What the index entry said that made the name is not lost.
    const record next = born({noon, noon, noon, noon}, 2, u"new"), last = born({noon, noon, noon, noon}, 3, u"last");
    const story made = story().add({born({noon, noon, noon, noon}), came(file, root, u"a"), end()});
    const std::string entry_of_a = R"(before=["created":"1";"modified":"2";"mft_changed":"3";"accessed":"4";)";
    for (const auto& steps : {std::vector<record>{freed(), next, end()},
                              {freed(), next, freed(2), end()},
                              {freed(), next, freed(2), last, end()},
                              {freed(), freed(2, 0), end()}}) {
        SCOPED_TRACE(steps.size());
        const texts all = story(made).add(steps).events("event,seq,path,details");
        EXPECT_EQ(std::ranges::count(all, "deleted|1|[root]\\a|" + entry_of_a + R"("size":"0";"name":"a"];after=[])"),
                  1);
    }
    const record replaced = to_record(0, 2, {}, born({noon, noon, noon, noon}).redo, 0);
    EXPECT_EQ(story().add({replaced, end()}).add({born({noon, noon, noon, noon}), came(file, root, u"a")}).events(),
              texts{})
        << "the same file's record, written again in another transaction";
}

// A file record of 40 to 43 that is put to use, and its name.
std::vector<record> made(u64 number, u64 time, u16 flags = 1) {
    const bytes times = pack(time, time, time, time, at{72});
    const bytes name = name_image{.name = u"new"}.attribute();
    const file_record image{
        .number = static_cast<u32>(number), .flags = flags, .attributes = {resident(0x10, times), name}};
    return {written(image), came(u64{1} << 48 | number, root, u"new"), end()};
}
record of(u64 number, record step) {
    step.cluster_block = static_cast<u16>(number % 4 * 2);
    return step;
}

TEST(events, have_the_time_that_the_clock_showed) {
    constexpr u64 minute = hour / 60;
    const auto after_noon = [](u64 minutes) { return noon + minutes * minute; };
    const auto renamed = [&](u64 number, const char16_t* from, const char16_t* to, u64 in = in_41) {
        const u64 reference = u64{1} << 48 | number;
        return std::vector<record>{went(reference, in, from), came(reference, in, to), end()};
    };
    // Times of modification and change, in minutes after noon.
    const auto changed = [&](u64 number, u64 modified, u64 mft_changed) {
        return std::vector<record>{of(number, standard(8, pack(noon - hour, noon - hour),
                                                       pack(after_noon(modified), after_noon(mft_changed)))),
                                   end()};
    };
    const auto only_changed = [&](u64 number, u64 minutes) {
        return std::vector<record>{of(number, standard(16, pack(noon - hour), pack(after_noon(minutes)))), end()};
    };
    const auto stamp = [&](u64 minutes, u64 less = 0) {
        return std::vector<record>{
            logged({.file = file + 1, .time = after_noon(minutes) - less, .reason = 0x8000'0000}), end()};
    };
    constexpr u64 half_second = 5'000'000;
    const std::vector<record> first = made(42, noon), last = made(43, after_noon(10));
    std::vector<record> again = made(42, after_noon(30));
    again.insert(again.begin(), of(42, to_record(0, 2, {}, first[0].redo, 0)));
    std::vector<record> odd = made(43, after_noon(5));
    put(odd[0].redo, 72 + 24 + 24, noon);  // the time of access
    const auto a_to_b = renamed(40, u"a", u"b"), b_to_c = renamed(40, u"b", u"c");
    const std::tuple<const char*, std::vector<std::vector<record>>, texts> rows[] = {
        {"between two others", {first, a_to_b, last}, {"renamed|06|16|not_before"}},
        {"before all others", {a_to_b, last}, {"renamed||16|not_before"}},
        {"after all others", {first, a_to_b}, {"renamed|06||not_before"}},
        {"where the system states none",
         {a_to_b, changed(41, 3, 3), b_to_c},
         {"renamed|||not_before", "renamed|||not_before"}},
        {"by its folder", {first, a_to_b, changed(41, 3, 3), last}, {"renamed|09||folder"}},
        {"by its folder, the last of two names",
         {first, a_to_b, b_to_c, changed(41, 3, 3), last},
         {"renamed|06|09|not_before", "renamed|09||folder"}},
        {"by its folder, whose record changed otherwise before",
         {first, a_to_b, only_changed(41, 2), changed(41, 3, 3), last},
         {"renamed|09||folder", "metadata_changed|08||record"}},
        {"not by a folder that is changed otherwise",
         {first, a_to_b, changed(41, 3, 4), last},
         {"renamed|06|16|not_before"}},
        {"not by another folder",
         {first, renamed(40, u"a", u"b", root), changed(41, 3, 3), last},
         {"renamed|06|16|not_before", "written|09||record"}},
        {"not by a time that is to come",
         {first, a_to_b, changed(41, 30, 30), last},
         {"renamed|06|16|not_before", "times_set|06|16|not_before"}},
        {"not by a file record that is written again",
         {first, a_to_b, again, last},
         {"renamed|06|16|not_before", "times_copied|06|16|not_before", "link_added|06|16|not_before"}},
        {"not by a new file record of several times", {first, odd, a_to_b, stamp(10)}, {"renamed|06|16|not_before"}},
        {"by its own record", {first, a_to_b, only_changed(40, 3), last}, {"renamed|09||record"}},
        {"not by its own record where more changes",
         {first, a_to_b, changed(40, 3, 3), last},
         {"renamed|06|16|not_before", "written|09||record"}},
        {"by what most agree on",
         {first, a_to_b, only_changed(40, 9), renamed(42, u"a", u"b", root), only_changed(42, 3),
          renamed(41, u"a", u"b", root), only_changed(41, 4), last},
         {"renamed|06|09|not_before", "times_set|06|09|not_before", "renamed|09||record", "renamed|10||record"}},
        {"around a clock that is set back",
         {stamp(0), stamp(10), a_to_b, stamp(5), b_to_c, stamp(20), stamp(12)},
         {"renamed|||not_before", "clock_set_back|11||journal", "renamed|11|26|not_before",
          "clock_set_back|18||journal"}},
        {"after a journal record", {first, stamp(2), a_to_b}, {"renamed|08||not_before"}},
        {"where two threads asked for the time",
         {first, stamp(10), a_to_b, stamp(10, half_second)},
         {"renamed|16:39.500000000|16|not_before"}},
        {"by its folder, where another thread asked for the time before",
         {first, a_to_b, changed(41, 3, 3), stamp(3, half_second)},
         {"renamed|09||folder"}},
        {"its own journal record, or the latest",
         {{logged({.file = file, .time = after_noon(1), .reason = 0x8000}),
           logged({.file = file + 1, .time = after_noon(2), .reason = 0x8000}), came(file + 2, root, u"b"), end()}},
         {"basic_info_changed|07||journal", "basic_info_changed|08||journal", "link_added|08||journal"}},
    };
    for (const auto& [what, transactions, expected] : rows) {
        story all;
        for (const auto& steps : transactions)
            all.add(steps);
        texts shown;
        for (std::string line : all.events("event,time,not_after,clock")) {
            if (line.starts_with("created")) continue;
            for (const char* const part : {"2012-12-14 23:", ":40.000000000"}) {
                for (std::size_t found; (found = line.find(part)) != line.npos;)
                    line.erase(found, std::string(part).size());
            }
            shown.push_back(line);
        }
        EXPECT_EQ(shown, expected) << what;
    }
}

TEST(events, tell_sizes_of_the_attribute_that_lies_there) {
    const auto sized = [](u64 before, u64 after, u16 place = 200) {
        return to_record(11, 11, pack(u64{4096}, after, after), pack(u64{4096}, before, before), place);
    };
    const auto stored = [](const std::u16string& name, std::size_t size, u32 type = 0x80) {
        return resident(type, bytes(size), {.name = name});
    };
    const auto lying = [](const std::u16string& name, u64 size, u32 type = 0x80) {
        return nonresident(type, bytes(8),
                           {.name = name, .allocated_size = 4096, .real_size = size, .initialized_size = size});
    };
    const auto added = [&](const std::u16string& name, u32 type = 0x80, u16 place = 200) {
        return to_record(5, 6, lying(name, 0, type), {}, place);
    };
    const auto removed = [&](const std::u16string& name, std::size_t size, u32 type = 0x80, u16 place = 200) {
        return to_record(6, 5, {}, stored(name, size, type), place);
    };
    const auto sizes = [](int size, bool resident) {
        const std::string text = std::to_string(size);
        return "[\"size\":\"" + text + (resident ? "\"]" : "\";\"allocated\":\"4096\";\"valid\":\"" + text + "\"]");
    };
    const auto resized = [&](const std::string& path, int before, int after, bool from_resident = false) {
        std::string was = sizes(before, from_resident);
        if (from_resident && after < before) was.insert(was.size() - 1, R"(;"resident":"yes")");
        return "resized|" + path + "|before=" + was + ";after=" + sizes(after, false);
    };
    const std::tuple<const char*, std::vector<record>, texts> rows[] = {
        {"grown", {sized(10, 20)}, {resized("[root]\\a", 10, 20)}},
        {"there and back", {sized(10, 20), sized(20, 10)}, {}},
        {"of what lies in the record", {to_record(5, 6, stored(u"", 80), {}, 200), sized(80, 500)}, {}},
        {"converted alone", {removed(u"", 5), added(u""), sized(0, 0)}, {resized("[root]\\a", 5, 0, true)}},
        {"converted and filled", {removed(u"", 5), added(u""), sized(0, 5)}, {}},
        {"converted and grown", {removed(u"", 5), added(u""), sized(0, 9)}, {resized("[root]\\a", 5, 9, true)}},
        {"beside a converted stream",
         {removed(u"s", 5, 0x80, 304), added(u"s", 0x80, 304), sized(10, 20)},
         {resized("[root]\\a:s", 5, 0, true), resized("[root]\\a", 10, 20)}},
        {"beside another attribute",
         {removed(u"", 5, 0xE0, 304), added(u"", 0xE0, 304), sized(10, 20)},
         {resized("[root]\\a", 10, 20)}},
        {"an index", {added(u"$I30", 0xA0), sized(0, 9)}, {}},
        {"not yet there", {sized(10, 20), added(u"", 0xA0)}, {resized("[root]\\a", 10, 20)}},
    };
    for (auto [what, steps, expected] : rows) {
        steps.push_back(end());
        texts got = story().add({came(file, root, u"a"), end()}).add(steps).events("event,path,details");
        got.erase(got.begin());  // the link
        EXPECT_EQ(got, expected) << what;
    }
    EXPECT_EQ(story().add({sized(10, 20), end()}).events("event"), texts{}) << "a folder, as far as is known";
    const auto beside_journal = [&](u64 before, u64 after) {
        return story()
            .add({came(file, root, u"a"), added(u"s"), end()})
            .add({sized(before, after), logged({.file = file + 1, .usn = 0x1000, .reason = 0x100}), end()})
            .events("event");
    };
    const u64 length = usn_image{}.image().size();
    EXPECT_EQ(beside_journal(0x1000, 0x1000 + length).back(), "file_created") << "the journal grows by the record";
    EXPECT_EQ(beside_journal(0x1000, 0x1000 + length).size(), 3u);
    EXPECT_EQ(beside_journal(0x1008, 0x1000 + length).size(), 4u) << "another file";
    EXPECT_EQ(beside_journal(0x1000, 0x1008 + length).size(), 4u) << "another file";
    const auto known = story()
                           .add({came(file, root, u"a"), added(u"s", 0x80, 304), end()})
                           .add({sized(10, 20), end()})
                           .add({sized(0, 9, 304), end()})
                           .add({to_record(6, 5, {}, lying(u"s", 9), 304), end()})
                           .add({sized(9, 10, 304), end()});
    EXPECT_EQ(known.events("event,path"),
              (texts{"link_added|[root]\\a", "stream_added|[root]\\a:s", "resized|[root]\\a", "resized|[root]\\a:s",
                     "stream_removed|[root]\\a:s", "resized|[root]\\a"}));
    const memory_file mft(
        mft_image({{.number = 0}, {.lsn = 1020, .attributes = {name_image{}.attribute(), lying(u"s", 20)}}}, 41));
    const story lone = story().add({came(file, root, u"a"), end()}).add({sized(10, 20, 168), end()});
    EXPECT_EQ(lone.events("path", {"-mftfile", mft.path()}).at(1), "[root]\\a:s");
    const memory_file extended(mft_image(
        {{.number = 0}, {}, {.number = 41, .sequence = 3, .base = file, .lsn = 1020, .attributes = {lying(u"s", 20)}}},
        42));
    const story grown = story().add({came(file, root, u"a"), end()}).add({of_41(sized(10, 20, 72)), end()});
    EXPECT_EQ(grown.events("path", {"-mftfile", extended.path()}), (texts{"[root]\\a", "[root]\\a:s"}));
}

TEST(events, tell_attributes_that_are_replaced_from_those_that_come_or_go) {
    const auto comes = [](u32 type, const bytes& value, const std::u16string& name = {}) {
        return to_record(5, 6, resident(type, value, {.name = name}), {}, 200);
    };
    const auto goes = [](u32 type, const bytes& value, const std::u16string& name = {}) {
        return to_record(6, 5, {}, resident(type, value, {.name = name}), 200);
    };
    const auto tag = [](u32 number) { return pack(number, u32{0}); };
    const std::tuple<const char*, std::vector<record>, texts> rows[] = {
        {"a reparse point changes",
         {goes(0xC0, tag(1)), comes(0xC0, tag(2))},
         {"reparse_point_set|before=[\"tag\":\"1\"];after=[\"tag\":\"2\"]"}},
        {"twice",
         {goes(0xC0, tag(1)), comes(0xC0, tag(2)), goes(0xC0, tag(2)), comes(0xC0, tag(3))},
         {"reparse_point_set|before=[\"tag\":\"1\"];after=[\"tag\":\"3\"]"}},
        {"a stream comes a second time, longer",
         {comes(0x80, bytes(2), u"s"), goes(0x80, bytes(2), u"s"), comes(0x80, bytes(3), u"s")},
         {"stream_added|before=[];after=[\"size\":\"3\"]"}},
        {"an object id",
         {comes(0x40, bytes(16, 0x11))},
         {"object_id_set|before=[];after=[\"object_id\":\"11111111-1111-1111-1111-111111111111\"]"}},
        {"part of one", {comes(0x40, bytes(15))}, {"object_id_set|before=[];after=[]"}},
        {"an object id goes", {goes(0x40, bytes(16))}, {}},
        {"flags",
         {standard(32, pack(u32{0x20}), pack(u32{0x21}))},
         {"attributes_set|before=[\"flags\":\"ARCHIVE\"];after=[\"flags\":\"READ_ONLY, ARCHIVE\"]"}},
        {"some of them",
         {standard(32, {0x20}, {0x22})},
         {"attributes_set|before=[\"flags\":\"ARCHIVE, others unknown\"];after=[\"flags\":\"HIDDEN, ARCHIVE, others "
          "unknown\"]"}},
        {"those before, and some of those after",
         {standard(32, pack(u32{0x20}), pack(u32{0x20})), standard(32, {0x20}, {0x22})},
         {"attributes_set|before=[\"flags\":\"ARCHIVE\"];after=[\"flags\":\"HIDDEN, ARCHIVE\"]"}},
        {"those after, and some of those before",
         {standard(32, {0x20}, pack(u32{0x21}))},
         {"attributes_set|before=[\"flags\":\"ARCHIVE, others unknown\"];after=[\"flags\":\"READ_ONLY, ARCHIVE\"]"}},
        {"attributes that have no word, and none",
         {standard(32, pack(u32{0x40000000}), pack(u32{0x00800021}))},
         {"attributes_set|before=[\"flags\":\"none set\"];after=[\"flags\":\"READ_ONLY, ARCHIVE, 0x800000\"]"}},
    };
    for (auto [what, steps, expected] : rows) {
        steps.push_back(end());
        EXPECT_EQ(story().add(steps).events("event,details"), expected) << what;
    }
}

TEST(events, take_from_the_mft_whose_record_it_was) {
    const story log = story().add({standard(32, pack(u32{0x20}), pack(u32{0x21})), end()});  // up to LSN 1010
    const std::tuple<u64, const char*, const char*> rows[] = {{1010, "-showall_inodes", "[root]\\a|mft"},
                                                              {1011, "-showall_inodes", "[root]\\a|guess"},
                                                              {1010, "-no_guesses", "[root]\\a|mft"},
                                                              {1011, "-no_guesses", "<unk_path>\\|part"}};
    for (const auto& [lsn, option, expected] : rows) {
        const memory_file mft(mft_image({{.number = 0}, {.lsn = lsn}}, 41));
        EXPECT_EQ(log.events("path,known", {"-mftfile", mft.path(), option}), texts{expected}) << lsn << option;
    }
    const bytes as_logged = resident(0x10, pack(at{32}, u32{0x21}, at{72}));
    const memory_file free_since(mft_image({{.number = 0}, {.flags = 0, .lsn = 1000, .attributes = {as_logged}}}, 41));
    EXPECT_EQ(log.events("path,known,seq", {"-mftfile", free_since.path()}), texts{"<unk_path>\\|part|"});
    const record name = of_41(got(root, u"x"));
    const memory_file in_use(mft_image({{.number = 0}, {}}, 41));
    EXPECT_EQ(
        story()
            .add({got(root, u"x"), standard(32, {0x20}, {0x22}), end()})
            .events("path,known,details", {"-mftfile", in_use.path()})
            .at(1),
        R"([root]\x|mft|before=["flags":"ARCHIVE, others unknown"];after=["flags":"HIDDEN, ARCHIVE, others unknown"])");
    const story taken_back = story().add({logged({.file = file + 1}), undoing(8, 0), end()}).add({name, end()});
    EXPECT_EQ(taken_back.events("inode,seq", {"-mftfile", in_use.path()}), (texts{"41|1", "41|"}));
    // An extension record in the MFT that the log knows as a file of its own.
    const memory_file extended(
        mft_image({{.number = 0}, {.number = 40}, {.number = 41, .base = file, .attributes = {}}}, 42));
    EXPECT_EQ(story().add({name, end()}).events("inode,seq", {"-mftfile", extended.path()}), texts{"40|1"});
    EXPECT_EQ(story()
                  .add({came(file + 1, root, u"y"), end()})
                  .add({name, end()})
                  .events("inode,seq", {"-mftfile", extended.path()}),
              (texts{"41|1", "41|1"}));
}

// Records that set or clear bits of a bitmap: of the attribute at a place in the table of those that are open.
constexpr u16 volume_bitmap = 24, mft_bitmap = 64;
record opened(u16 place, u64 reference) {
    return {.redo_op = 28, .target_attribute = place, .redo = pack(~u32{0}, at{16}, reference, at{40})};
}
record bits(u16 operation, u32 begin, u32 count, u16 place = volume_bitmap, u64 vcn = 0) {
    return {.redo_op = operation,
            .undo_op = static_cast<u16>(43 - operation),
            .target_attribute = place,
            .vcn = vcn,
            .lcn = vcn + place,
            .redo = pack(begin, count),
            .undo = pack(begin, count)};
}
constexpr u16 set_bits = 21, clear_bits = 22;

TEST(events, say_where_lost_data_lay) {
    const auto lying = [](const bytes& runs, u64 size) {
        return nonresident(0x80, runs, {.allocated_size = size, .real_size = size, .initialized_size = size});
    };
    const auto there = [](const bytes& data) {
        record step = to_record(2, 0, file_record{.attributes = {name_image{}.attribute(), data}}.image(), {}, 0);
        put(step.redo, 24, u32{600});
        step.redo.resize(600);
        return std::vector{came(file, root, u"a"), step, end()};
    };
    const bytes two_runs = {0x11, 10, 100, 0x01, 4, 0x11, 6, 0x9C, 0},
                too_long = {0x18, 0, 0, 0, 0, 0, 0, 0, 0x10, 9, 0};
    const bytes far = {0x81, 5, 0, 0, 0, 0, 0, 0, 0, 0x40, 0x11, 1, 0, 0};
    const std::vector dying = {went(file, root, u"a"), freed(), bits(clear_bits, 100, 10), bits(clear_bits, 0, 6),
                               end()};
    record in_second_sector = bits(clear_bits, 100, 10);
    in_second_sector.cluster_block = 1;
    const std::string runs = R"(;"resident":"no";"runs":"0+10@100, 10+4, 14+6@0";"proved_by":")";
    const std::tuple<const char*, bytes, std::vector<record>, std::vector<record>, std::string> rows[] = {
        {"twice proved", two_runs, dying, {}, runs + R"(both";"free_at_end":"all"])"},
        {"some bits stay",
         two_runs,
         {went(file, root, u"a"), freed(), bits(clear_bits, 100, 9), end()},
         {},
         runs + R"(record";"free_at_end":"all"])"},
        {"bits of another bitmap",
         two_runs,
         {went(file, root, u"a"), freed(), bits(clear_bits, 0, 200, mft_bitmap), end()},
         {bits(set_bits, 0, 200, mft_bitmap)},
         runs + R"(record";"free_at_end":"all"])"},
        {"bits of the second sector of the bitmap",
         {0x21, 10, 100, 0x10, 0},
         {went(file, root, u"a"), freed(), in_second_sector, end()},
         {},
         R"(;"resident":"no";"runs":"0+10@4196";"proved_by":"both";"free_at_end":"all"])"},
        {"given again in part", two_runs, dying, {bits(set_bits, 109, 90)}, runs + R"(both";"free_at_end":"part"])"},
        {"given again",
         two_runs,
         dying,
         {bits(set_bits, 0, 50), bits(set_bits, 105, 50), bits(set_bits, 50, 55)},
         runs + R"(both";"free_at_end":"none"])"},
        {"given again beyond the first cluster of the bitmap",
         two_runs,
         dying,
         {bits(set_bits, 0, 200, volume_bitmap, 1)},
         runs + R"(both";"free_at_end":"all"])"},
        {"more clusters than there are",
         too_long,
         dying,
         {},
         R"(;"resident":"no";"runs":"0+1152921504606846976@9";"proved_by":"record";"free_at_end":"all"])"},
        {"beyond any volume", far, dying, {}, "];"},
    };
    for (auto [what, pairs, last, later, expected] : rows) {
        later.push_back(end());
        const texts got = story()
                              .add({opened(volume_bitmap, 6), opened(mft_bitmap, 0), bits(set_bits, 7, 1)})
                              .add(there(lying(pairs, 20 * 4096)))
                              .add(last)
                              .add(later)
                              .events("event,details");
        ASSERT_EQ(got.size(), 2u) << what;
        EXPECT_NE(got[1].find(R"("size":"81920";"name":"a")" + expected), got[1].npos) << what << got[1];
    }
    const auto shrinks = to_record(9, 9, {0, 0, 0, 0}, {0x11, 6, 0x9C, 0}, 168);
    record cut = shrinks;
    cut.attribute_offset = 64 + 5;
    const auto smaller =
        to_record(11, 11, pack(u64{40960}, u64{9}, u64{9}), pack(u64{81920}, u64{81920}, u64{81920}), 168);
    const texts got = story().add(there(lying(two_runs, 20 * 4096))).add({smaller, cut, end()}).events("event,details");
    EXPECT_NE(got.back().find(R"("resident":"no";"runs":"14+6@0";"proved_by":"record"])"), std::string::npos)
        << got.back();
    const texts small = story().add(there(resident(0x80, bytes(5)))).add(dying).events("event,details");
    EXPECT_NE(small.back().find(R"("size":"5";"name":"a";"resident":"yes"])"), std::string::npos) << small.back();
}

// What moves from a file record that is not known to another one was the file's before.
TEST(events, call_no_gain_what_only_moves) {
    const bytes piece = nonresident(0x80, {0x11, 10, 100, 0x11, 5, 50, 0}, {.first_vcn = 16, .last_vcn = 30});
    const auto extents = [](const std::vector<record>& steps) {
        const memory_file log(story().add({opened(volume_bitmap, 6), end()}).add(steps).image());
        return run_captured({"-log", log.path(), "-extents", "-quiet", "-csv", "-base10", "-columns",
                             "extent,inode,vcn,lcn,clusters"})
            .out;
    };
    record more = of_41(written({.number = 41, .base = file, .attributes = {piece}}));
    more.undo_op = 3;
    EXPECT_EQ(extents({more, end()}), "extent,inode,vcn,lcn,clusters\n");
    EXPECT_EQ(extents({more, bits(set_bits, 150, 5), end()}), "extent,inode,vcn,lcn,clusters\ngot,40,26,150,5\n");
}

TEST(events, tell_each_extended_attribute) {
    const auto one = [](const bytes& name, const bytes& value, u32 step = 0) {
        const auto size = static_cast<u32>(padded(9 + name.size() + value.size()));
        return pack(step != 0 ? step : size, u8{0}, static_cast<u8>(name.size()), static_cast<u16>(value.size()), name,
                    u8{0}, value, at{size});
    };
    const auto both = [](bytes first, const bytes& second) {
        append(first, second);
        return first;
    };
    const auto list = [](const bytes& value) { return resident(0xE0, value); };
    const auto made = [&](const bytes& value) { return to_record(5, 6, list(value), {}, 200); };
    const auto gone = [&](const bytes& value) { return to_record(6, 5, {}, list(value), 200); };
    const bytes a = one({0x41}, {0x31}), b = one({0x42}, {0x32, 0x32});
    bytes many;
    for (int at = 0; at < 20; ++at)
        append(many, one({0x41}, {0x31}, 1));  // each would begin one byte after the one before it
    const std::tuple<const char*, std::vector<record>, texts> rows[] = {
        {"two set",
         {made(both(b, a))},
         {R"(ea_set|before=[];after=["name":"A";"value":"31"])",
          R"(ea_set|before=[];after=["name":"B";"value":"3232"])"}},
        {"removed", {gone(a)}, {R"(ea_removed|before=["name":"A";"value":"31"];after=[])"}},
        {"one of them",
         {gone(both(a, b)), made(one({0x41}, {0x33}))},
         {R"(ea_set|before=["name":"A";"value":"31"];after=["name":"A";"value":"33"])",
          R"(ea_removed|before=["name":"B";"value":"3232"];after=[])"}},
        {"the same again", {gone(both(a, b)), made(both(b, a))}, {}},
        {"over one another", {made(many)}, {R"(ea_set|before=[];after=["name":"A";"value":"31"])"}},
        {"beyond the end",
         {made(both(a, pack(u32{0}, u8{0}, u8{1}, u16{0xFFFF}, u8{0x42})))},
         {R"(ea_set|before=[];after=["name":"A";"value":"31"])"}},
        {"odd characters", {made(one({0x0A, 0xFF}, {}))}, {"ea_set|before=[];after=[\"name\":\"[LF]\xC3\xBF\"]"}},
    };
    for (auto [what, steps, expected] : rows) {
        steps.push_back(end());
        texts got = story().add({came(file, root, u"a"), end()}).add(steps).events("event,details");
        got.erase(got.begin());  // the link
        EXPECT_EQ(got, expected) << what;
    }
}

TEST(contents, go_to_files_of_their_own_and_over_nothing) {
    const auto data = [](const std::u16string& name, const bytes& value) {
        return resident(0x80, value, {.name = name});
    };
    const auto wrote = [&](const bytes& now, const bytes& was, u16 value_offset) {
        record step = to_record(7, 7, now, was, 200);
        step.attribute_offset = value_offset;
        return step;
    };
    const bytes one = {0x31, 0x32, 0x33}, two = {0x34}, longer = {0x34, 0x35}, zeros(5);
    const memory_file log(story()
                              .add({came(file, root, u"a"), end()})
                              .add({to_record(5, 6, data(u"../../x", one), {}, 200), end()})
                              .add({wrote(two, one, 40), end()})
                              .add({wrote(two, two, 40), wrote(longer, two, 40), end()})
                              .add({to_record(6, 5, {}, data(u"../../x", longer), 200), end()})
                              .add({to_record(5, 6, data(u"", zeros), {}, 200), end()})
                              .image());
    const scratch_folder scratch;
    const std::string target = scratch.at("contents");
    const argument_list args = {"-log", log.path(), "-content", target, "-quiet", "-csv", "-columns", "content,path"};
    const std::string list =
        "content,path\n40-1-1-1020-after,[root]\\a:..[0x2F]..[0x2F]x\n40-1-1-1040-after,[root]\\a:..[0x2F]..[0x2F]x\n"
        "40-1-1-1070-after,[root]\\a:..[0x2F]..[0x2F]x\n";
    const captured_run ran = run_captured(args);
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, list);
    EXPECT_EQ(contents_of(target + "/40-1-1-1020-after"), "123");
    EXPECT_EQ(contents_of(target + "/40-1-1-1040-after"), "4");
    EXPECT_EQ(contents_of(target + "/40-1-1-1070-after"), "45");
    const auto refused = [&](const std::string& in, std::ptrdiff_t listed, const std::string& why) {
        argument_list again_args = args;
        again_args[3] = in;
        const captured_run again = run_captured(again_args);
        EXPECT_EQ(again.status, -1) << in;
        EXPECT_EQ(std::ranges::count(again.out, '\n'), 1 + listed) << in << again.out;
        EXPECT_EQ(again.err, "prob writing contents: " + target + why + '\n') << in;
    };
    refused(target, 0, "/40-1-1-1020-after (there is such a file already), and 2 others");
    std::filesystem::remove_all(target);
    std::filesystem::create_directory(target);
    if (make_link(scratch.at("elsewhere"), target + "/40-1-1-1020-after")) {
        refused(target, 2, "/40-1-1-1020-after (there is such a file already)");
        EXPECT_FALSE(std::filesystem::exists(scratch.at("elsewhere")));
        std::filesystem::rename(target, scratch.at("other"));
        make_link(scratch.at("other"), target);
        for (const char* const end : {"", "/", "//", "/."})
            refused(target + end, 0, " (not a folder)");
    }
    EXPECT_EQ(run_captured({"-log", log.path(), "-content", ""}).err, "-content needs a folder\n");
    const memory_file twice(story()
                                .add({written({.attributes = {data(u"", one), data(u"", two)}}), end()})
                                .add({of_41(written({.number = 41, .attributes = {data(u"", longer)}})), end()})
                                .image());
    EXPECT_EQ(
        run_captured({"-log", twice.path(), "-content", scratch.at("twice"), "-quiet", "-csv", "-columns", "content"})
            .out,
        "content\n40-1-0-1000-after\n40-1-0-1000-after-2\n41-1-0-1020-after\n");
    EXPECT_EQ(contents_of(scratch.at("twice/40-1-0-1000-after-2")), "4");
    EXPECT_EQ(run_captured({"-enumdir", target, "-content", target}).err, "-content is for one log only\n");
}

// One byte of five is of the log, the others are of the MFT copy, which any time may have written.
TEST(contents, are_of_the_log_only) {
    const bytes now = {0x61, 0x58, 0x63, 0x64, 0x65}, was = {0x61, 0x62, 0x63, 0x64, 0x65};
    const file_record copied{.lsn = 1000,
                             .attributes = {resident(0x10, bytes(72)), name_image{}.attribute(), resident(0x80, now)}};
    const memory_file mft(mft_image({{.number = 0}, copied}, 41));
    record byte = to_record(7, 7, {0x58}, {0x62}, 264);
    byte.attribute_offset = 24 + 1;
    record all = to_record(7, 7, now, was, 264);
    all.attribute_offset = 24;
    const std::pair<record, std::string> rows[] = {{byte, ""}, {all, "abcde\naXcde\n"}};
    for (const auto& [step, expected] : rows) {
        const memory_file log(story().add({step, end()}).image());
        const scratch_folder scratch;
        const std::string target = scratch.at("contents");
        const captured_run ran = run_captured(
            {"-log", log.path(), "-mftfile", mft.path(), "-content", target, "-quiet", "-csv", "-columns", "content"});
        EXPECT_EQ(ran.status, 0) << ran.err;
        std::string held;
        for (const std::string& name : split(ran.out, '\n'))
            if (name.starts_with("40-")) held += contents_of(target + '/' + name) + '\n';
        EXPECT_EQ(held, expected) << ran.out;
    }
}

// What the log lacks may have changed the file, unless its record names the LSN from before the gap.
TEST(events, take_no_state_of_a_file_over_a_gap) {
    file_record made{
        .number = 40,
        .attributes = {resident(0x10, pack(noon, noon, noon, noon, at{72})), name_image{.name = u"a"}.attribute(),
                       nonresident(0x80, {0x11, 1, 9, 0}, {.allocated_size = 4096, .real_size = 7})}};
    const std::tuple<const char*, bool, bool, bool, bool> rows[] = {
        {"nothing is lost", false, false, false, true},
        {"a page", true, false, false, false},
        {"a page, and nothing of the file", true, true, false, true},
        {"the MFT copy is from before that", true, false, true, false}};
    for (const auto& [what, lost, names_last, copied, known] : rows) {
        log_writer log(64 * 1024);
        record step = to_record(2, 0, made.image(), {}, 0);
        step.redo.resize(480);
        made.lsn = log.add(step);
        log.add({.redo_op = 8, .redo = bytes(9000)});
        record gone = freed();
        put(gone.undo, 8, names_last ? made.lsn : made.lsn + 1);
        log.add(gone);
        bytes image = log.image();
        if (lost) lay(image, 5 * 4096, bytes(4096, 0xFF));
        const memory_file log_file(image), mft(mft_image({{.number = 0}, made}, 41));
        argument_list args = {"-log", log_file.path(), "-events", "-quiet", "-base10"};
        if (copied) args.insert(args.end(), {"-mftfile", mft.path()});
        const std::string out = run_captured(args).out;
        const std::string got = out.substr(std::min(out.size(), out.find("deleted")));
        EXPECT_FALSE(got.empty()) << what;
        EXPECT_EQ(got.find("0+1@9") != std::string::npos, known) << what << got;
        EXPECT_EQ(got.find("size") != std::string::npos, known) << what << got;
    }
}

// Where a record was freed and used again in a gap, what comes after it is of the next file that is known.
TEST(events, take_no_owner_of_a_record_over_a_gap) {
    for (const bool lost : {false, true}) {
        log_writer log(64 * 1024);
        log.add(born({noon, noon, noon, noon}));
        log.add({.redo_op = 8, .redo = bytes(9000)});
        const u64 hidden = log.add(standard(32, {0x20}, {0x22}));
        log.add({.previous = hidden, .redo_op = 27, .undo_op = 1});
        log.add(went(u64{2} << 48 | 40, root, u"b"));
        bytes image = log.image();
        if (lost) lay(image, 5 * 4096, bytes(4096, 0xFF));
        const memory_file log_file(image);
        const std::string out = run_captured({"-log", log_file.path(), "-events", "-csv", "-quiet", "-base10",
                                              "-columns", "event,inode,seq"})
                                    .out;
        EXPECT_NE(out.find(lost ? "attributes_set,40,2" : "attributes_set,40,1"), std::string::npos) << out;
    }
}

TEST(events, say_where_the_mft_is_not_what_the_log_wrote) {
    constexpr u64 last = 1000, other = 1010;
    const auto copy = [](u64 lsn, u64 modified, u64 accessed, const std::u16string& name = u"a", u8 content = 'x') {
        return file_record{
            .number = 40,
            .lsn = lsn,
            .attributes = {resident(0x10, pack(noon, modified, noon, accessed, at{72})),
                           name_image{.name = name}.attribute(), resident(0x80, bytes(8, content), {.id = 3}),
                           resident(0x90, bytes(112), {.id = 4})}};
    };
    record step = to_record(2, 0, copy(last, noon, noon).image(), {}, 0);
    step.redo.resize(440);
    const story log = story().add({step, end()});
    const std::tuple<file_record, texts> rows[] = {
        {copy(last, noon, noon), {}},
        {copy(last, noon, noon + 1, u"a", 'y'), {}},  // which is not logged
        {copy(other, noon + 1, noon), {}},            // of another moment
        {copy(last, noon + 10'000'000, noon),
         {R"(mft_differs|not_before|before=["modified":"2012-12-14 23:06:40.000";"record_offset":"104";"differing":"times"];)"
          R"(after=["modified":"2012-12-14 23:06:41.000";"record_offset":"104";"differing":"times"])"}},
        {copy(last, noon, noon, u"b"),
         {R"(mft_differs|not_before|before=["name":"a";"record_offset":"258";"differing":"name"];after=["name":"b";"record_offset":"258";"differing":"name"])"}}};
    for (const auto& [record, expected] : rows) {
        const memory_file mft(mft_image({{.number = 0}, record}, 41));
        EXPECT_EQ(log.events("event,clock,details", {"-mftfile", mft.path()}), expected);
    }
    // The file is the one that the log knows, whatever the copy says; what keeps the record's LSN may follow.
    record beside_name = to_record(19, 19, bytes(56, 1), bytes(56), 296);
    beside_name.attribute_offset = 56;
    const story touched = story().add({step, end()}).add({beside_name, end()});
    bytes image = mft_image({{.number = 0}, copy(last, noon, noon)}, 41);
    put(image, 40 * 1024 + 32, u64{7});
    const memory_file astray(image);
    for (const story& one : {log, touched})
        EXPECT_EQ(one.events("event,inode,seq,lsn", {"-mftfile", astray.path()}), texts{"mft_differs|40|1|1000"});
}

// A self-relative descriptor whose owner has two parts.
bytes descriptor(u32 owner) {
    return pack(u16{1}, u16{0x8000}, u32{20}, at{20}, u8{1}, u8{2}, at{27}, u8{5}, u32{32}, owner);
}
// Goes to $SDS at 0x1100, if the cluster is not another one.
record described(u32 id, const bytes& value, u64 stated_offset = 0x1100, u64 vcn = 1) {
    u32 hash = 0;
    for (std::size_t at = 0; at + 4 <= value.size(); at += 4) {
        u32 word;
        std::memcpy(&word, &value[at], sizeof word);
        hash = std::rotl(hash, 3) + word;
    }
    return {.redo_op = 8,
            .attribute_offset = 0x100,
            .vcn = vcn,
            .redo = pack(hash, id, stated_offset, static_cast<u32>(20 + value.size()), value)};
}

TEST(events, say_whose_a_new_file_is) {
    const auto own = [](const bytes& attribute, u32 id = 0x105) {
        record step =
            written({.attributes = {resident(0x10, pack(at{52}, id, at{72})), name_image{}.attribute(), attribute}});
        step.undo = {};
        return step;
    };
    const bytes none = resident(0x80, {}, {.id = 3});
    bytes far = descriptor(544), many = descriptor(544);
    put(far, 4, u32{28});  // its owner ends after it
    many[21] = 16;
    bytes cut = described(0x105, descriptor(544)).redo, changed = cut;
    cut.pop_back();
    changed.back() ^= 1;  // so that its hash is another one
    const auto stored = [](const bytes& redo) {
        record step = described(0, {});
        step.redo = redo;
        return step;
    };
    const std::string admins = R"("owner":"S-1-5-32-544";"owner_name":"BUILTIN\Administrators")";
    const std::tuple<const char*, std::vector<record>, std::string> rows[] = {
        {"by identifier", {described(0x105, descriptor(544)), own(none)}, admins},
        {"not well known", {described(0x105, descriptor(77)), own(none)}, R"("owner":"S-1-5-32-77")"},
        {"in the second copy of the block", {described(0x105, descriptor(544), 0x1100, 65), own(none)}, admins},
        {"of another identifier", {described(0x106, descriptor(544)), own(none)}, ""},
        {"not where it says that it stands", {described(0x105, descriptor(544), 0x1200), own(none)}, ""},
        {"two owners for one", {described(0x105, descriptor(544)), described(0x105, descriptor(545)), own(none)}, ""},
        {"cut", {stored(cut), own(none)}, ""},
        {"another hash", {stored(changed), own(none)}, ""},
        {"an owner that is cut", {described(0x105, far), own(none)}, ""},
        {"too many parts", {described(0x105, many), own(none)}, ""},
        {"in the file record", {own(resident(0x50, descriptor(544), {.id = 3}))}, admins},
        {"in the file record, cut", {own(resident(0x50, part(descriptor(544), 0, 35), {.id = 3}))}, ""},
    };
    for (const auto& [what, steps, expected] : rows) {
        std::vector<record> all = steps;
        all.push_back(came(file, root, u"a"));
        all.push_back(end());
        const texts found = story().add(all).events("details");
        ASSERT_EQ(found.size(), 1u) << what;
        const std::size_t owner = std::min(found[0].find(R"("owner)"), found[0].size() - 1);
        EXPECT_EQ(found[0].substr(owner, found[0].size() - 1 - owner), expected) << what;
    }
    const story given = story().add({described(0x105, descriptor(544)), described(0x106, descriptor(545)),
                                     standard(52, pack(u32{0x105}), pack(u32{0x106})), end()});
    EXPECT_EQ(given.events("event,details"),
              texts{R"(owner_set|before=["owner":"S-1-5-32-544";"owner_name":"BUILTIN\Administrators"];)"
                    R"(after=["owner":"S-1-5-32-545";"owner_name":"BUILTIN\Users"])"});
}

TEST(events, say_when_the_volume_was_in_use) {
    const auto restart = [](u64 mount, u64 usn, u64 table = 0) {
        return std::vector<record>{of_type(2, {.block_size = 0, .vcn = table, .redo = pack(at{24}, usn, mount)})};
    };
    const story log = story()
                          .add(restart(0, 0))
                          .add(restart(900, 0x5000))
                          .add(restart(900, 0x6000, 1))
                          .add(restart(980, 0x6000))
                          .add(restart(990, 0))
                          .add({of_type(2, {.vcn = ~u64{0}, .redo = pack(at{24}, ~u64{0})})})  // cut
                          .add(restart(~u64{0}, 0x100));
    const std::string mounted = R"(mounted||before=[];after=["log_state":")";
    EXPECT_EQ(log.events("event,inode,details"),
              (texts{mounted + R"(first"])", mounted + R"(unclean"])", mounted + R"(clean"])", mounted + R"(unclean"])",
                     R"(journal_created||before=["next_usn":"18446744073709551615"];after=["next_usn":"256"])"}));
}

TEST(events, say_what_became_of_volume_and_journal) {
    const auto of_volume = [](record step) {
        step.vcn = 0;
        step.cluster_block = 6;
        return step;
    };
    const auto named = [](const std::u16string& name) { return resident(0x60, pack(name), {.id = 3}); };
    const auto flags = [](u16 value) { return resident(0x70, pack(at{8}, u8{3}, u8{1}, value), {.id = 4}); };
    const auto limits = [](u64 size) {
        return resident(0x80, pack(size, u64{8}, u64{7}, u64{0}), {.name = u"$Max", .id = 3});
    };
    const auto within = [](u16 attribute, u16 place, const bytes& before, const bytes& after) {
        record step = to_record(7, 7, after, before, attribute);
        step.attribute_offset = place;
        return step;
    };
    record volume = of_volume(written({.number = 3, .attributes = {named(u"abc"), flags(1)}}));
    const story log =
        story()
            .add({volume, end()})
            .add({of_volume(within(72, 24, pack(u"abc"), pack(u"xyz"))), end()})
            .add({of_volume(within(104, 34, pack(u16{1}), pack(u16{0x8040}))), end()})
            .add(
                {written({.attributes = {name_image{.parent = extend, .name = u"$UsnJrnl"}.attribute(), limits(4096)}}),
                 came(file, extend, u"$UsnJrnl"), end()})
            .add({within(184, 32, pack(u64{4096}), pack(u64{8192})), end()})
            .add({freed(), went(file, extend, u"$UsnJrnl"), end()});
    EXPECT_EQ(log.events("event,path,details"),
              (texts{R"(volume_renamed|[root]\$Volume|before=["name":"abc"];after=["name":"xyz"])",
                     R"(volume_flags_set|[root]\$Volume|before=["volume_flags":"dirty"];)"
                     R"(after=["volume_flags":"chkdsk modified, 0x40"])",
                     R"(journal_created|<unk_path>\$UsnJrnl|before=[];after=["flags":"plain_file"])",
                     R"(journal_resized|<unk_path>\$UsnJrnl|)"
                     R"(before=["maximum_size":"4096";"allocation_delta":"8";"journal_id":"7"];)"
                     R"(after=["maximum_size":"8192";"allocation_delta":"8";"journal_id":"7"])",
                     R"(journal_deleted|<unk_path>\$UsnJrnl|before=["created":"1";"modified":"2";"mft_changed":"3";)"
                     R"("accessed":"4";"size":"0";"name":"$UsnJrnl"];after=[])"}));
    const std::tuple<u64, std::u16string, std::ptrdiff_t> rows[] = {
        {extend, u"$UsnJrnl", 1}, {root, u"$UsnJrnl", 0}, {extend, u"evil.txt", 0}};
    for (const auto& [above, name, events] : rows) {
        const texts found =
            story()
                .add({written({.attributes = {name_image{.parent = above, .name = name}.attribute(), limits(4096)}}),
                      came(file, above, name), end()})
                .add({within(184, 32, pack(u64{4096}), pack(u64{8192})), end()})
                .events("event");
        EXPECT_EQ(std::ranges::count(found, "journal_resized"), events);
    }
}

constexpr u64 bin = folder, user = other_folder;
std::vector<record> placed(u64 reference, u64 parent, const std::u16string& name) {
    return {came(reference, parent, name), got(parent, name), end()};
}
std::vector<record> carried(u64 from, const std::u16string& old_name, u64 to, const std::u16string& name) {
    return {went(file, from, old_name), lost(from, old_name), came(file, to, name), got(to, name), end()};
}

TEST(events, say_what_went_to_the_bin) {
    const std::tuple<const char*, std::u16string, std::u16string, texts> rows[] = {
        {"with its twin",
         u"$IABCDEF.txt",
         u"$RABCDEF.txt",
         {"recycled|[root]\\$Recycle.Bin\\S-1\\$RABCDEF.txt|[root]\\a.txt",
          "restored|[root]\\b.txt|[root]\\$Recycle.Bin\\S-1\\$RABCDEF.txt"}},
        {"without",
         u"$IABCDEG.txt",
         u"$RABCDEF.txt",
         {"moved|[root]\\$Recycle.Bin\\S-1\\$RABCDEF.txt|[root]\\a.txt",
          "moved|[root]\\b.txt|[root]\\$Recycle.Bin\\S-1\\$RABCDEF.txt"}},
        {"with nothing after the prefix",
         u"$I",
         u"$R",
         {"moved|[root]\\$Recycle.Bin\\S-1\\$R|[root]\\a.txt", "moved|[root]\\b.txt|[root]\\$Recycle.Bin\\S-1\\$R"}},
        {"of another kind",
         u"$IABCDEF.txt",
         u"$QABCDEF.txt",
         {"moved|[root]\\$Recycle.Bin\\S-1\\$QABCDEF.txt|[root]\\a.txt",
          "moved|[root]\\b.txt|[root]\\$Recycle.Bin\\S-1\\$QABCDEF.txt"}},
    };
    for (const auto& [what, twin, name, expected] : rows) {
        const texts found = story()
                                .add({came(bin, root, u"$Recycle.Bin"), end()})
                                .add({came(user, bin, u"S-1"), end()})
                                .add({came(file + 5, user, twin), end()})
                                .add(carried(root, u"a.txt", user, name))
                                .add(carried(user, name, root, u"b.txt"))
                                .events("event,path,old_path");
        EXPECT_EQ(texts(found.end() - 2, found.end()), expected) << what;
    }
}

TEST(events, leave_out_what_the_system_does) {
    const auto events = [](const std::u16string& above, const std::u16string& in, const std::u16string& name) {
        return story()
            .add({came(bin, root, above), end()})
            .add({came(user, bin, in), end()})
            .add({came(file, user, name), end()})
            .events("event", {"-no_system"})
            .size();
    };
    EXPECT_EQ(events(u"System Volume Information", u"x", u"y"), 0u);
    EXPECT_EQ(events(u"$RECYCLE.BIN", u"S-1-5", u"desktop.ini"), 0u);
    EXPECT_EQ(events(u"$RECYCLE.BIN", u"S-1-5", u"desktop.inf"), 1u);
    EXPECT_EQ(events(u"ystem Volume Information", u"x", u"y"), 1u);
    EXPECT_EQ(events(u"System Volume Information\\x", u"x", u"y"), 1u);
    const std::vector<record> in_part[] = {{came(user, bin, u"System Volume Information"), end()},
                                           {came(file, user, u"y"), end()}};
    EXPECT_EQ(story().add(in_part[0]).add(in_part[1]).events("event", {"-no_system"}).size(), 1u);
    const story moved = story()
                            .add({came(bin, root, u"System Volume Information"), end()})
                            .add(placed(file, bin, u"a"))
                            .add(carried(bin, u"a", root, u"a"));
    EXPECT_EQ(moved.events("event,path", {"-no_system"}), texts{"moved|[root]\\a"});
    const story moved_in =
        story().add({came(bin, root, u"System Volume Information"), end()}).add(carried(root, u"a", bin, u"a"));
    EXPECT_EQ(moved_in.events("event", {"-no_system"}), texts{"moved"});
    const bytes hidden = resident(0xE0, pack(u32{0}, u8{0}, u8{1}, u16{1}, u8{'A'}, u8{0}, u8{'x'}));
    const bytes data = nonresident(0x80, {0x11, 10, 100, 0});
    const story kept = story()
                           .add({came(bin, root, u"System Volume Information"), end()})
                           .add({written({.attributes = {name_image{.parent = bin}.attribute(), hidden, data}}),
                                 came(file, bin, u"a"), end()});
    EXPECT_EQ(kept.events("event", {"-no_system"}), texts{"ea_set"});
    const story later = story()
                            .add({came(bin, root, u"System Volume Information"), end()})
                            .add({came(file, bin, u"a"), end()})
                            .add({to_record(6, 5, {}, hidden, 200), end()})
                            .add({to_record(5, 6, resident(0x80, {}, {.name = u"s"}), {}, 200), end()});
    EXPECT_EQ(later.events("event", {"-no_system"}), (texts{"ea_removed", "stream_added"}));
    const memory_file log(kept.image());
    const captured_run extents = run_captured({"-log", log.path(), "-extents", "-no_system", "-quiet", "-csv"});
    EXPECT_EQ(std::pair(std::ranges::count(extents.out, '\n'), extents.err),
              std::pair(std::ptrdiff_t{1}, std::string("left out: 1 event of the system\n")));
}

TEST(events, take_the_name_of_a_deleted_file_from_a_record_that_is_free_since) {
    const std::tuple<u16, u16, u16, texts> rows[] = {
        {u16{0xFFFF}, u16{1}, u16{0}, {"deleted|[root]\\a|mft", "attributes_set|<unk_path>\\|part"}},
        {u16{1}, u16{2}, u16{0}, {"deleted|[root]\\a|mft", "attributes_set|<unk_path>\\|part"}},
        {u16{1}, u16{2}, u16{1}, {"deleted|<unk_path>\\|part", "attributes_set|[root]\\a|mft"}},
        {u16{1}, u16{1}, u16{0}, {"deleted|<unk_path>\\|part", "attributes_set|<unk_path>\\|part"}},
    };
    for (const auto& [freed_one, sequence, flags, expected] : rows) {
        const memory_file mft(mft_image({{.number = 0}, {.sequence = sequence, .flags = flags}}, 41));
        const story log =
            story().add({freed(freed_one), end()}).add({standard(32, pack(u32{0x20}), pack(u32{0x21})), end()});
        EXPECT_EQ(log.events("event,path,known", {"-mftfile", mft.path()}), expected) << freed_one << sequence << flags;
        const story below = story().add({came(file + 1, file & 0xFFFF'FFFF, u"b"), end()});  // of no certain folder
        EXPECT_EQ(below.events("path", {"-mftfile", mft.path()}), texts{"<unk_path>\\b"}) << sequence << flags;
    }
}

TEST(events, belong_to_the_file_that_the_record_held_then) {
    const story reuse =
        story()
            .add({went(file, root, u"old"), freed(), end()})
            .add({born({noon, noon, noon, noon}, 2, u"new"), came(file + (u64{1} << 48), root, u"new"), end()})
            .add({standard(32, pack(u32{0x20}), pack(u32{0x22})), end()});
    EXPECT_EQ(reuse.events("event,path,known,seq"),
              (texts{"deleted|[root]\\old|log|1", "created|[root]\\new|log|2", "attributes_set|[root]\\new|log|2"}));
}

TEST(events, belong_to_who_is_known_to_hold_the_record) {
    const record flagged = standard(32, pack(u32{0x20}), pack(u32{0x21}));
    const u64 second = file + (u64{1} << 48);
    const record born_again = born({noon, noon, noon, noon}, 2, u"new"),
                 extension = written({.number = 41, .base = file}), own_41 = written({.number = 41, .sequence = 2});
    const record name_of_41 = of_41(got(root, u"x"));
    const std::tuple<const char*, std::vector<std::vector<record>>, const char*, std::vector<std::string>> rows[] = {
        {"of the next one, once the last is gone",
         {{went(file, root, u"old"), freed(), end()},
          {flagged, end()},
          {born_again, came(second, root, u"new"), end()}},
         "attributes_set",
         {"40|2"}},
        {"of nobody before a birth",
         {{flagged, end()}, {born_again, came(second, root, u"new"), end()}},
         "attributes_set",
         {"40|"}},
        {"nor if the birth's name comes first",
         {{flagged, end()}, {came(second, root, u"new"), born_again, end()}},
         "attributes_set",
         {"40|"}},
        {"of the base record", {{extension, end()}, {name_of_41, end()}}, "link_added", {"40|1"}},
        {"of what will be the base record", {{name_of_41, end()}, {extension, end()}}, "link_added", {"40|1"}},
        {"of the base record until a file is born there",
         {{extension, end()}, {name_of_41, end()}, {own_41, end()}, {name_of_41, end()}},
         "link_added",
         {"40|1", "41|2"}},
        {"of nobody before one, and of the base record after",
         {{name_of_41, end()}, {own_41, end()}, {extension, end()}, {name_of_41, end()}},
         "link_added",
         {"41|", "40|1"}},
        {"of the file that an index entry names there",
         {{extension, end()}, {came(file + 1, root, u"y"), end()}},
         "link_added",
         {"41|1"}},
        {"of who was there until a birth",
         {{flagged, end()}, {went(file, root, u"a"), born({noon, noon, noon, noon}), came(file, root, u"b"), end()}},
         "attributes_set",
         {"40|1"}},
        {"of who was there, if a free record is given up",
         {{came(file, root, u"a"), end()}, {freed(1, 0), end()}, {flagged, end()}},
         "attributes_set",
         {"40|2"}},
        {"of nobody, given up without a number",
         {{freed(0), end()}, {came(file, root, u"a"), end()}},
         "deleted",
         {"40|"}},
        {"of nobody, born without a number",
         {{extension, end()}, {written({.number = 41, .sequence = 0})}},
         "created",
         {"41|"}},
        {"of the base record, by what an extension record was",
         {{of_41(to_record(0, 2, {}, extension.redo, 0)), end()}, {name_of_41, end()}},
         "link_added",
         {"40|1"}},
        {"each of its own in one record, all taken back",
         {{came(file, root, u"a"), came(second, root, u"b"), got(root, u"b"), undoing(15, 0), end()}},
         "link_added",
         {"40|1", "40|2"}},
    };
    for (const auto& [what, transactions, event, sequences] : rows) {
        story all;
        for (const auto& steps : transactions)
            all.add(steps);
        texts found;
        for (const std::string& line : all.events("event,inode,seq")) {
            if (line.starts_with(event)) found.push_back(line.substr(line.find('|') + 1));
        }
        EXPECT_EQ(found, sequences) << what;
    }
}

TEST(events, tell_a_reason_once_until_the_file_is_closed) {
    const story writing = story()
                              .add({journal(0x2), end()})
                              .add({journal(0x3, noon + hour), end()})
                              .add({journal(0x8000'0003), end()})
                              .add({journal(0x1), end()})
                              .add({journal(0x5, ~u64{0}), end()});
    EXPECT_EQ(writing.events("time,clock,event,reason"),
              (texts{"2012-12-14 23:06:40.000000000|journal|data_appended|data_appended",
                     "2012-12-15 00:06:40.000000000|journal|data_overwritten|data_overwritten; data_appended",
                     "2012-12-14 23:06:40.000000000|journal|clock_set_back|",
                     "2012-12-14 23:06:40.000000000|journal|data_overwritten|data_overwritten",
                     "2012-12-14 23:06:40.000000000|not_before|data_truncated|data_overwritten; data_truncated"}));
    EXPECT_EQ(story().add({logged({.file = 0x28}), end()}).events(), texts{}) << "of nobody that is known";
}

TEST(events, have_the_name_that_a_journal_record_tells) {
    const record flagged = standard(32, pack(u32{0x20}), pack(u32{0x21}));
    EXPECT_EQ(story().add({flagged, journal(0x8000), end()}).events(), texts{"attributes_set|[root]\\a.txt||done"});
    EXPECT_EQ(
        story().add({journal(0x1)}).add({flagged, end()}).add({logged({.file = file, .name = u"b"})}).events("path"),
        (texts{"[root]\\a.txt", "[root]\\a.txt", "[root]\\b"}));
}

TEST(events, say_whether_they_are_about_a_folder) {
    const record flagged = standard(32, pack(u32{0x20}), pack(u32{0x21}));
    const std::tuple<const char*, std::vector<record>, std::string> rows[] = {
        {"by a journal record", {logged({.file = file, .attributes = 0x10}), end()}, "folder"},
        {"by a file record", {came(file, root, u"a"), written({.flags = 3}), end()}, "folder"},
        {"by what was rolled back", {came(file, root, u"a"), got(root, u"a"), undoing(15, 0), end()}, "file"},
        {"not known", {flagged, end()}, ""},
    };
    for (const auto& [what, steps, type] : rows)
        EXPECT_EQ(story().add(steps).events("type"), texts{type}) << what;
    const bytes page = page_of({{.file = file, .attributes = 0x10}, {.version = 4, .file = file, .reason = 0x2}});
    EXPECT_EQ(with_journal(page, {}, "type"), (texts{"folder", ""}));
}

TEST(events, tell_times_that_a_program_set_from_those_of_the_system) {
    const std::vector<record> make = {born({noon, noon, noon, noon}), came(file, root, u"a"), end()};
    const auto write = [](u16 place, const bytes& before, const bytes& after) {
        return std::vector<record>{standard(place, before, after), end()};
    };
    const auto used = write(24, pack(noon), pack(noon + 5 * hour));
    const auto modified = [&](u64 after) { return write(8, pack(noon), pack(after)); };
    const auto created = write(0, pack(noon), pack(u64{1}));
    const std::vector<record> later = made(42, noon + hour), open = {journal(0x100), make[0], make[1], end()};
    const std::vector<record> close = {journal(0x8000'0100), end()};
    const auto folder_written = [&](u64 time) {
        return std::vector<record>{of(41, standard(8, pack(noon, noon), pack(time, time))), end()};
    };
    const auto removed = [&](u64 in, const std::u16string& name, u64 time) {
        return std::vector<record>{logged({.file = file + 1, .time = time, .reason = 0x8000'0000}),
                                   went(file + 1, in, name), end()};
    };
    const struct {
        const char* what;
        std::vector<std::vector<record>> transactions;
        texts expected;
    } rows[] = {
        {"of an old file", {make, used, modified(noon - hour)}, {"created", "read", "times_set"}},
        {"of a file whose birth is not known", {modified(noon - hour)}, {"times_set"}},
        {"the time of change",
         {make, used, write(16, pack(noon), pack(noon - hour))},
         {"created", "read", "times_set"}},
        {"the time of access",
         {make, used, write(24, pack(noon + 5 * hour), pack(noon - hour))},
         {"created", "read", "times_set"}},
        {"the creation", {make, used, created}, {"created", "read", "times_set"}},
        {"with a new name",
         {make,
          used,
          {standard(8, pack(noon), pack(noon - hour)), went(file, root, u"a"), came(file, root, u"b"), end()}},
         {"created", "read", "times_set", "renamed"}},
        {"of a copy", {make, modified(noon - hour)}, {"created", "times_copied"}},
        {"of a copy, the creation", {make, write(0, pack(noon), pack(noon - hour))}, {"created", "times_copied"}},
        {"of a copy from another time zone", {make, modified(noon + 9 * hour)}, {"created", "times_copied"}},
        {"of a copy from the far future", {make, modified(noon + 90 * hour)}, {"created", "times_set"}},
        {"not a time", {make, modified(1)}, {"created", "times_set"}},
        {"of what would be a copy an hour later",
         {make, later, modified(noon - hour)},
         {"created", "created", "times_set"}},
        {"of what would be a copy many transactions later",
         {make, {end()}, {end()}, {end()}, {end()}, {end()}, {end()}, modified(noon - hour)},
         {"created", "times_set"}},
        {"while the file is open", {open, later, modified(noon - hour)}, {"created", "created", "times_copied"}},
        {"once it was closed", {open, close, later, modified(noon - hour)}, {"created", "created", "times_set"}},
        {"tunneled", {removed(root, u"A", noon - 1), make, used, created}, {"created", "read"}},
        {"tunneled, and more",
         {removed(root, u"A", noon - 1), make, used, write(0, pack(noon, noon), pack(u64{1}, noon - hour))},
         {"created", "read", "times_set"}},
        {"a name removed an hour before",
         {removed(root, u"A", noon - hour), make, used, created},
         {"created", "read", "times_set"}},
        {"another name", {removed(root, u"0", noon - 1), make, used, created}, {"created", "read", "times_set"}},
        {"a longer name", {removed(root, u"ab", noon - 1), make, used, created}, {"created", "read", "times_set"}},
        {"in another folder", {removed(folder, u"a", noon - 1), make, used, created}, {"created", "read", "times_set"}},
        {"after the clock was set back",
         {make, made(42, noon - hour), write(8, pack(noon, noon), pack(noon - hour + 9, noon - hour + 9)),
          made(43, noon - hour + 99)},
         {"created", "clock_set_back", "created", "written", "created"}},
        {"while another thread asked for the time",
         {make, write(8, pack(noon, noon), pack(noon + 9, noon + 9)), made(42, noon + 8)},
         {"created", "written", "created"}},
        {"more bytes replaced than written", {write(24, pack(noon, u32{0x20}), pack(noon + hour))}, {"read"}},
        {"more bytes written than replaced", {write(24, pack(noon), pack(noon + hour, u32{0x21}))}, {"read"}},
        {"written and read",
         {make, write(8, pack(noon, noon, noon), pack(noon + 1, noon + 1, noon + 1))},
         {"created", "written"}},
        {"changed", {make, write(16, pack(noon, noon), pack(noon + 1, noon + 1))}, {"created", "metadata_changed"}},
        {"read before it was renamed",
         {{logged({.file = file, .time = noon + 5, .reason = 0x8000'2000}), went(file, root, u"a"),
           came(file, root, u"b"), end()},
          write(16, pack(noon, noon), pack(noon + 5, noon + 3))},
         {"renamed", "read"}},
        {"a journal record says more of it",
         {{journal(0x1), standard(8, pack(noon, noon), pack(noon + 1, noon + 1)), end()}},
         {"written"}},
        {"a journal record says it",
         {{journal(0x800), standard(16, pack(noon), pack(noon + 1)), end()}},
         {"access_changed"}},
        {"a folder in which a name came, and once more",
         {{came(file, in_41, u"b"), got(in_41, u"b"), end()}, folder_written(noon + 1), folder_written(noon + 2)},
         {"link_added", "written"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        story all;
        for (const auto& steps : row.transactions)
            all.add(steps);
        texts kinds = all.events("event");
        std::erase(kinds, "link_removed");
        EXPECT_EQ(kinds, row.expected);
    }
    EXPECT_EQ(story().add(make).add(used).add(write(16, pack(noon), pack(noon - hour))).events("event,clock").back(),
              "times_set|not_before")
        << "not by the time that was set";
    const texts copied = story()
                             .add({end()})
                             .add(make)
                             .add({standard(8, pack(noon, noon), pack(noon - 1, noon + 5)), end()})
                             .events("details");
    EXPECT_NE(copied.at(1).find(R"("since_creation":"0.0000005";"transactions_since":"1")"), copied.at(1).npos)
        << copied.at(1);
    const record since = standard(0, pack(noon, noon, noon, noon), pack(noon, noon - hour, noon, noon + 5));
    const texts of_older = story()
                               .add({end()})
                               .add({logged({.file = file + 1, .time = noon}), end()})
                               .add({since, end()})
                               .events("event,details");
    EXPECT_TRUE(of_older.back().starts_with("times_copied|")) << of_older.back();
    EXPECT_EQ(of_older.back().find("transactions_since"), of_older.back().npos) << "of a creation before the log";
}

TEST(events, show_the_index_entry_of_a_name) {
    const std::tuple<std::vector<record>, texts> rows[] = {
        {{lost(root, u"b"), went(file, root, u"b"), end()}, {"1010"}},
        {{went(file, root, u"b"), lost(root, u"b"), end()}, {"1000"}},
        {{came(file, root, u"b"), went(file, root, u"b"), came(file, root, u"b"), end()}, {"1020"}},
    };
    for (const auto& [steps, lsns] : rows)
        EXPECT_EQ(story().add(steps).events("lsn"), lsns);
}

TEST(events, tell_values_that_other_writes_of_the_same_file_prove) {
    const story log = story()
                          .add({came(file, root, u"a"), came(file + 1, root, u"b"), end()})
                          .add({standard(8, pack(noon), pack(noon - hour)), end()})
                          .add({of_41(standard(0, pack(noon + 3 * hour), pack(noon + 4 * hour))), end()})
                          .add({standard(24, pack(noon + hour), pack(noon + 2 * hour)), end()});
    EXPECT_EQ(log.events("details").at(2),
              "before=[\"modified\":\"2012-12-14 23:06:40.000\";\"accessed\":\"2012-12-15 00:06:40.000\"];"
              "after=[\"modified\":\"2012-12-14 22:06:40.000\";\"accessed\":\"2012-12-15 00:06:40.000\"]");
    const record begun = came(file, root, u"a"), set_back = standard(8, pack(noon), pack(noon - hour));
    const bytes both = pack(noon - 2 * hour + 10'000, noon - hour);  // its lowest byte is not 0
    for (const story& some : {story().add({begun, set_back, end()}).add({standard(0, both, both), end()}),
                              story().add({begun, set_back, standard(0, both, both), end()})})
        EXPECT_EQ(some.events("details").at(1),
                  "before=[\"created\":\"2012-12-14 21:06:40.001\";\"modified\":\"2012-12-14 23:06:40.000\"];"
                  "after=[\"created\":\"2012-12-14 21:06:40.001\";\"modified\":\"2012-12-14 22:06:40.000\"]");
    const bytes stream = resident(0x80, pack(noon, noon, noon, noon, at{72}), {.name = u"s"});
    const story beside = story().add({came(file, root, u"a"), to_record(5, 6, stream, {}, 300), end()});
    EXPECT_EQ(story(beside).add({standard(32, {0x20}, {0x22}), end()}).events("details").back(),
              R"(before=["flags":"ARCHIVE, others unknown"];after=["flags":"HIDDEN, ARCHIVE, others unknown"])");
    const std::vector<bytes> flags = {resident(0x10, pack(at{32}, u32{0x20}, at{72}))};
    for (const file_record& other : {file_record{.flags = 0, .attributes = flags},
                                     {.number = 41, .sequence = 0, .base = file, .attributes = flags}}) {
        const story some =
            story().add({came(file, root, u"a"), written(other), end()}).add({standard(32, {0x20}, {0x22}), end()});
        EXPECT_EQ(some.events("details").at(1),
                  R"(before=["flags":"ARCHIVE, others unknown"];after=["flags":"HIDDEN, ARCHIVE, others unknown"])")
            << other.number;
    }
}

TEST(events, find_file_records_on_volumes_of_any_cluster_size) {
    const std::pair<u64, u16> sizes[] = {{512, 2}, {1024, 2}, {2048, 2}, {4096, 2}, {4096, 8}, {65536, 2}};
    for (const auto& [size, blocks] : sizes) {
        SCOPED_TRACE(std::to_string(size) + ", file records of " + std::to_string(blocks * 512));
        const auto place = [size = size, blocks = blocks](record step, u64 at = 0) {
            at = at != 0 ? at : u64{40} * blocks * 512;
            step.vcn = at / size;
            step.cluster_block = static_cast<u16>(at % size / 512);
            step.block_size = blocks;
            if (step.redo_op == 2) put(step.redo, 6, static_cast<u16>(blocks + 1));
            return step;
        };
        const story made = story()
                               .add({place(born({noon, noon, noon, noon})), came(file, root, u"a"), end()})
                               .add({place(journal(0x8000), usn_image{}.usn),
                                     place(standard(32, pack(u32{0x20}), pack(u32{0x21}))), end()});
        EXPECT_EQ(made.events("event,inode"), (texts{"created|40", "attributes_set|40"}));
        // A row of a step that names a place alone. In the first cluster no record tells the size.
        const auto row_tells = [&made](const argument_list& more) {
            return rows_of(made.image(), {}, {}, more).at(4).at(inode_cell) == "0x28";
        };
        EXPECT_EQ(row_tells({"-cluster_size", "auto"}), size != 65536);
        EXPECT_TRUE(row_tells({"-cluster_size", std::to_string(size)}));
        EXPECT_EQ(row_tells({}), size == 4096);
    }
}

TEST(events, have_paths_as_long_as_the_system_allows) {
    const auto path_below = [](int folders, std::size_t letters) {
        std::vector<record> steps;  // without an end, so no event of their own
        u64 parent = root;
        for (int at = 0; at < folders; ++at) {
            const u64 made = 0x0001'0000'0000'0100 + static_cast<u64>(at);
            steps.push_back(came(made, parent, std::u16string(letters, u'\u4E2D')));
            parent = made;
        }
        const std::string event = story().add(steps).add({came(file, parent, u"f"), end()}).events("known,path").at(0);
        return event.substr(0, event.find('|')) + ' ' + std::to_string(event.size() / 1000);
    };
    EXPECT_EQ(path_below(255, 1), "log 1");
    EXPECT_EQ(path_below(256, 1), "part 1");
    EXPECT_EQ(path_below(128, 255), "log 98");
    EXPECT_EQ(path_below(200, 255), "part 55");  // below the first folder that has no room
}

// Of the log, of the MFT, and of a journal file; as text, where fields are cut at "|", and as JSON.
TEST(events, have_names_that_look_like_no_other) {
    const std::u16string name = {u'[', u'L', u'F', u']', u'|', u'"', u'\\', u':', 0xD800, 0, u'z'};
    const std::string expected = R"([root]\[[]LF][0x7C]"[0x5C][0x3A][0xD800][0x00]z)";
    const story in_log = story().add({came(file, root, name), got(root, name), end()});
    EXPECT_EQ(in_log.events("path,details"),
              texts{expected + R"(|before=[];after=["name":"[[]LF][0x7C]\"[0x5C][0x3A][0xD800][0x00]z"])"});
    EXPECT_EQ(with_journal(page_of({{.file = file, .name = name}}), {}, "path"), texts{expected});
    const memory_file mft(mft_image({{.number = 0}, {.attributes = {name_image{.name = name}.attribute()}}}, 41));
    const story set = story().add({standard(32, pack(u32{0x20}), pack(u32{0x21})), end()});
    EXPECT_EQ(set.events("path,known", {"-mftfile", mft.path()}), texts{expected + "|mft"});

    const std::string hex = R"(","name_hex":"5B004C0046005D007C0022005C003A0000D800007A00)";
    const std::string as_json = R"("path":"[root]\\[[]LF]|\"[0x5C][0x3A][0xD800][0x00]z)" + hex;
    for (const auto& [made, inputs, found] :
         {std::tuple(in_log, argument_list{}, R"("after":{"name":"[[]LF]|\"[0x5C][0x3A][0xD800][0x00]z)" + hex),
          std::tuple(set, argument_list{"-mftfile", mft.path()}, as_json)}) {
        const memory_file log(made.image());
        argument_list args = {"-quiet", "-events", "-jsonl", "-log", log.path()};
        args.insert(args.end(), inputs.begin(), inputs.end());
        const std::string lines = run_captured(args).out;
        EXPECT_NE(lines.find(as_json), lines.npos) << lines;
        EXPECT_NE(lines.find(found), lines.npos) << lines;
    }

    // A name never becomes a second field of a timeline, and its reader turns "%7C" back.
    const memory_file barred(story().add({came(file, root, u"a|,%7C\"\n"), got(root, u"a|,%7C\"\n"), end()}).image());
    for (const auto& [shape, line] :
         {std::pair("-bodyfile", R"(0|[root]\a%7C,%257C"[LF] (link_added, time not known)|)"),
          std::pair("-csvl2t", R"(,"[root]\a|,%7C""[LF]",40,time not known,kest,)")}) {
        const std::string lines = run_captured({"-quiet", "-events", shape, "-log", barred.path()}).out;
        EXPECT_NE(lines.find(line), lines.npos) << lines;
        EXPECT_EQ(std::ranges::count(lines, '\n'), shape[1] == 'b' ? 1 : 2);
    }

    const std::u16string stream = {u'a', u'/', u'b'};
    const record added = to_record(5, 6, resident(0x80, {}, {.name = stream}), {});
    EXPECT_EQ(
        story().add({came(file, root, u"f:"), got(root, u"f:"), end()}).add({added, end()}).events("event,path").at(1),
        "stream_added|[root]\\f[0x3A]:a[0x2F]b");
    const record gone = to_record(6, 5, {}, name_image{.name = name}.attribute());
    const memory_file undone(story().add({gone, end()}).image());
    const std::string undo = run_captured({"-quiet", "-undo", "-log", undone.path()}).out;
    EXPECT_NE(undo.find(R"("name":"[[]LF][0x7C]\"[0x5C][0x3A][0xD800][0x00]z")"), undo.npos) << undo;
}

TEST(events, tell_times_without_a_calendar_form_as_ticks) {
    const auto set = [](u64 before, u64 after) {
        return story().add({standard(0, pack(before), pack(after)), end()}).events("details");
    };
    EXPECT_EQ(set(noon, noon - 14'000'000'000'000'000),
              texts{R"(before=["created":"2012-12-14 23:06:40.000"];after=["created":"116000000000000000"])"});
    EXPECT_EQ(set(1, 0), texts{R"(before=["created":"1"];after=["created":"0"])"});
}

TEST(events, repeat_no_long_path_in_a_sentence) {
    const auto message_of = [](const std::u16string& name) {
        std::vector<record> steps;
        u64 parent = root;
        for (u64 made = file + 1; made <= file + 8; parent = made++)  // 1,016 characters
            steps.push_back(came(made, parent, std::u16string(126, u'\u4E2D')));
        const memory_file log(story().add(steps).add({came(file, parent, name), end()}).image());
        const std::string lines = run_captured({"-quiet", "-events", "-jsonl", "-log", log.path()}).out;
        return lines.substr(lines.find("\"message\":"));
    };
    EXPECT_NE(message_of(u"f").find("[root]\\\\"), std::string::npos);
    const std::string shortened = message_of(u"ff"), end = "\u4E2D\\\\ff\"}\n";
    EXPECT_EQ(shortened.find("[root]"), std::string::npos);
    EXPECT_NE(shortened.find(" ...\\\\\u4E2D"), std::string::npos) << shortened;
    EXPECT_TRUE(shortened.ends_with(end)) << shortened;
}

namespace reasons {
constexpr u32 appended = 0x2, created = 0x100, deleted = 0x200, old_name = 0x1000, new_name = 0x2000,
              closed = 0x8000'0000;
}

TEST(journal_events, tell_what_is_new_since_the_file_was_closed) {
    using namespace reasons;
    const auto says = [](u32 reason, const std::u16string& name = u"a.txt", u64 parent = root, u64 of = file) {
        return usn_image{.file = of, .parent = parent, .reason = reason, .name = name};
    };
    const auto about = [](u64 of, u32 reason, const std::u16string& name, u64 parent = root) {
        return usn_image{.file = of, .parent = parent, .reason = reason, .attributes = 0x10, .name = name};
    };
    const struct {
        const char* what;
        std::vector<usn_image> records;
        texts expected;
    } rows[] = {
        {"reasons gather until it is closed",
         {says(created), says(created | appended), says(created | appended | closed), says(appended), says(closed)},
         {"created|[root]\\a.txt||journal", "data_appended|[root]\\a.txt||journal",
          "data_appended|[root]\\a.txt||journal"}},
        {"of another file",
         {says(appended), says(appended, u"b", root, file + 1), says(deleted | appended | closed)},
         {"data_appended|[root]\\a.txt||journal", "data_appended|[root]\\b||journal",
          "deleted|[root]\\a.txt||journal"}},
        {"two names",
         {says(old_name), says(appended, u"x", root, file + 1), says(new_name, u"b"), says(new_name | closed, u"b")},
         {"data_appended|[root]\\x||journal", "renamed|[root]\\b|[root]\\a.txt|journal"}},
        {"more between two names",
         {says(old_name), says(old_name | appended), says(new_name | appended, u"b")},
         {"data_appended|[root]\\a.txt||journal", "renamed|[root]\\b|[root]\\a.txt|journal"}},
        {"renamed twice while open",
         {says(old_name), says(new_name, u"b"), says(old_name, u"b"), says(new_name, u"c"), says(closed, u"c")},
         {"renamed|[root]\\b|[root]\\a.txt|journal", "renamed|[root]\\c|[root]\\b|journal"}},
        {"the new name stays a reason",
         {says(old_name), says(new_name, u"b"), says(old_name | new_name, u"b"), says(new_name, u"c")},
         {"renamed|[root]\\b|[root]\\a.txt|journal", "renamed|[root]\\c|[root]\\b|journal"}},
        {"both at once",
         {says(old_name | new_name, u"b"), says(old_name | new_name | closed, u"b")},
         {"file_old_name|[root]\\b||journal", "file_new_name|[root]\\b||journal"}},
        {"a name of two is missing",
         {says(old_name), says(appended, u"a.txt"), says(new_name | closed, u"b"), says(old_name, u"b")},
         {"file_old_name|[root]\\a.txt||journal", "data_appended|[root]\\a.txt||journal",
          "file_new_name|[root]\\b||journal", "file_old_name|[root]\\b||journal"}},
        {"the folders of the moment",
         {says(appended, u"a.txt", folder), about(folder, created, u"one"), about(folder, old_name, u"one"),
          about(folder, new_name, u"two"), says(created, u"b", folder, file + 1), about(other_folder, closed, u"other"),
          about(folder, old_name, u"two"), about(folder, new_name, u"2", other_folder),
          says(deleted, u"b", folder, file + 1)},
         {"data_appended|[root]\\one\\a.txt||journal", "created|[root]\\two\\b||journal",
          "deleted|[root]\\other\\2\\b||journal"}},
        {"an earlier name of the folder is not known",
         {says(appended, u"a.txt", folder), about(folder, new_name, u"two"), says(deleted, u"a.txt", folder)},
         {"data_appended|<unk_path>\\a.txt||part", "deleted|[root]\\two\\a.txt||journal"}},
        {"moved",
         {about(folder, closed, u"one"), says(old_name), says(new_name, u"b", folder)},
         {"moved|[root]\\one\\b|[root]\\a.txt|journal"}},
        {"a folder below itself",
         {about(folder, created, u"one", folder), says(appended, u"a.txt", folder)},
         {"data_appended|<unk_path>\\one\\a.txt||part"}},
        {"version 3", {{.version = 3, .file = file, .reason = created}}, {"created|[root]\\a.txt||journal"}},
        {"version 4 repeats",
         {says(created),
          {.version = 4, .file = file, .reason = created | closed},
          says(created | closed),
          {.version = 4, .file = file, .reason = appended | closed},
          says(appended | closed)},
         {"created|[root]\\a.txt||journal", "data_appended|<unk_path>\\||part"}},
        {"of the system", {says(appended, u"$a", extend), says(appended, u"$Secure", root, 0x0009'0000'0000'0009)}, {}},
        {"the root", {says(appended, u".", root, root)}, {"data_appended|[root]\\||journal"}},
        {"out of the system's folder and into it",
         {says(old_name, u"q", extend), says(new_name, u"q"), says(appended | new_name, u"q"), says(closed, u"q"),
          says(old_name, u"q"), says(new_name | appended | closed, u"q", extend), says(old_name, u"q", extend),
          says(new_name | closed, u"r", extend)},
         {"moved|[root]\\q|<unk_path>\\q|part", "data_appended|[root]\\q||journal",
          "moved|<unk_path>\\q|[root]\\q|part"}},
        {"alone, after two names of another file",
         {says(old_name), says(new_name | closed, u"b"), says(old_name, u"x", root, file + 1)},
         {"renamed|[root]\\b|[root]\\a.txt|journal", "file_old_name|[root]\\x||journal"}},
        {"closed between two names",
         {says(old_name), says(old_name | closed), says(new_name | closed, u"b"), says(appended),
          says(appended | old_name | closed)},
         {"file_old_name|[root]\\a.txt||journal", "file_new_name|[root]\\b||journal",
          "data_appended|[root]\\a.txt||journal", "file_old_name|[root]\\a.txt||journal"}},
        {"a folder of the same name elsewhere, and one whose renaming is lost",
         {about(folder, closed, u"one"), says(appended, u"a.txt", folder), about(folder, closed, u"two"),
          says(deleted | closed, u"a.txt", folder), about(other_folder, closed, u"other"),
          about(folder, closed, u"two", other_folder), says(appended, u"a.txt", folder)},
         {"data_appended|[root]\\one\\a.txt||journal", "deleted|[root]\\two\\a.txt||journal",
          "data_appended|[root]\\other\\two\\a.txt||journal"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(with_journal(page_of(row.records)), row.expected);
    }
}

TEST(journal_events, damage_costs_itself_only) {
    const auto named = [](const std::u16string& name) {
        return usn_image{.file = file, .reason = 0x8000'0002, .name = name};
    };
    usn_image long_name = named(u"long"), unnumbered = named(u"unnumbered"), endless = named(u"endless"),
              timeless = named(u"t"), longest = named(std::u16string(255, u'l')), shifted = named(u"shifted"),
              nameless = named(u"nameless"), odd = named(u"odd"), far = named(u"far"), far_off = named(u"far off");
    long_name.name_length = 14;
    unnumbered.file = 0x28;
    endless.length = 4096;
    timeless.time = 0;
    longest.file = 0x0001'0000'FFFF'FFFF;
    shifted.name_offset = 62;
    nameless.name_length = 0;
    odd.name_length = 3;
    far.file = 0x0001'0001'0000'0000;
    far_off.parent = 0x0001'0001'0000'0000;
    const bytes pages =
        pack(page_of({named(u"a"), long_name, unnumbered, timeless, longest, shifted, nameless, odd, far, far_off,
                      named(std::u16string(256, u'l')), endless, named(u"found")}),
             page_of({named(u"b")}), bytes(70'000), at{77'824}, page_of({named(u"c")}), u32{72}, u16{2});
    EXPECT_EQ(with_journal(pages, {}, "time,clock,path,offset"),
              (texts{"2012-12-14 23:06:40.000000000|journal|[root]\\a|0",
                     "2012-12-14 23:06:40.000000000|not_before|[root]\\t|216",
                     "2012-12-14 23:06:40.000000000|journal|[root]\\" + std::string(255, 'l') + "|280",
                     "2012-12-14 23:06:40.000000000|journal|[root]\\found|1896",
                     "2012-12-14 23:06:40.000000000|journal|[root]\\b|4096",
                     "2012-12-14 23:06:40.000000000|journal|[root]\\c|77824"}));
}

TEST(journal_events, stand_among_those_of_the_log) {
    constexpr u64 minute = hour / 60;
    const auto records_of = [](u64 of) {
        const auto at_usn = [of](u64 usn, u32 reason, u64 minutes) {
            return usn_image{.file = of, .usn = usn, .time = noon + minutes * minute, .reason = reason};
        };
        return std::vector<usn_image>{at_usn(0x1000, 0x01, 0),   at_usn(0x1100, 0x03, 60),  at_usn(0x1200, 0x07, 80),
                                      at_usn(0x1280, 0x17, 100), at_usn(0x1300, 0x37, 120), at_usn(0x1400, 0x77, 0)};
    };
    const std::vector<usn_image> own = records_of(file + 2);
    const u64 timed = noon + 90 * minute;
    const story log = story()
                          .add({logged(own[1]), end()})
                          .add({came(file + 1, root, u"untimed"), end()})
                          .add({born({timed, timed, timed, timed}, 1, u"timed"), came(file, root, u"timed"), end()})
                          .add({logged(own[4]), end()});
    const std::string columns = "source,event,lsn";
    EXPECT_EQ(with_journal(page_of(own), log, columns),
              (texts{"journal|data_overwritten|", "both|data_appended|1000", "log|link_added|1020",
                     "journal|data_truncated|", "log|created|1040", "journal|ads_data_overwritten|",
                     "both|ads_data_appended|1070", "journal|clock_set_back|", "journal|ads_data_truncated|"}));
    EXPECT_EQ(with_journal(page_of(records_of(file + 3)), log, columns),
              (texts{"journal|data_overwritten|", "log|data_overwritten|1000", "log|data_appended|1000",
                     "log|link_added|1020", "journal|data_appended|", "journal|data_truncated|", "log|created|1040",
                     "journal|ads_data_overwritten|", "log|data_truncated|1070", "log|ads_data_overwritten|1070",
                     "log|ads_data_appended|1070", "journal|ads_data_appended|", "journal|clock_set_back|",
                     "journal|ads_data_truncated|"}));
}

TEST(journal_events, stand_by_their_place_where_times_disagree) {
    constexpr u64 minute = hour / 60;
    const auto at_usn = [](u64 usn, u32 reason, u64 time) {
        return usn_image{.file = file + 2, .usn = usn, .time = time, .reason = reason};
    };
    const auto born_at = [](u64 time) {
        return std::vector<record>{born({time, time, time, time}), came(file, root, u"a"), end()};
    };
    const usn_image shared = at_usn(0x1100, 0x3, noon + 40 * minute);
    const bytes page = page_of(
        {at_usn(0x1000, 0x1, noon), shared, at_usn(0x1200, 0x7, ~u64{0}), at_usn(0x1300, 0x17, noon + 10 * minute)});
    const std::string columns = "source,event";
    EXPECT_EQ(with_journal(page, story().add(born_at(noon + 50 * minute)).add({logged(shared), end()}), columns),
              (texts{"journal|data_overwritten", "log|created", "log|clock_set_back", "both|data_appended",
                     "journal|data_truncated", "journal|clock_set_back", "journal|ads_data_overwritten"}));
    EXPECT_EQ(with_journal(page, story().add({logged(shared), end()}).add(born_at(noon + 30 * minute)), columns),
              (texts{"journal|data_overwritten", "both|data_appended", "log|clock_set_back", "log|created",
                     "journal|data_truncated", "journal|clock_set_back", "journal|ads_data_overwritten"}));
    EXPECT_EQ(with_journal(page_of({at_usn(0x1000, 0x1, noon + hour), shared}), story().add({logged(shared), end()}),
                           columns),
              (texts{"journal|data_overwritten", "journal|clock_set_back", "both|data_appended"}));
}

TEST(journal_events, pair_no_names_of_which_the_log_tells_one) {
    using namespace reasons;
    const usn_image old{.file = file, .usn = 0x1000, .reason = old_name},
        now{.file = file, .usn = 0x1100, .reason = new_name, .name = u"b"};
    for (const usn_image& logged_one : {old, now}) {
        EXPECT_EQ(with_journal(page_of({old, now}), story().add({logged(logged_one), end()}), "event,path,old_path"),
                  (texts{"file_old_name|[root]\\a.txt|", "file_new_name|[root]\\b|"}));
    }
}

TEST(journal_events, make_a_run_of_their_own) {
    const memory_file sound(page_of({{.file = file}})), zeros(bytes(9000)), small(usn_image{.file = file}.image()),
        damaged(pack(page_of({{.file = file}}), u64{1}, u64{0}, u64{2})), empty(bytes{}),
        log(log_of_pages({{.lsn = 8, .redo_op = 8, .redo = usn_image{}.image()}}));
    const struct {
        const char* what;
        argument_list args;
        int status;
        std::string err;
    } rows[] = {
        {"a journal", {"-events", "-jrnlfile", sound.path()}, 0, ""},
        {"without a record",
         {"-events", "-jrnlfile", zeros.path()},
         -1,
         "prob parsing file: " + zeros.path() + " (no record)\n"},
        {"small", {"-events", "-jrnlfile", small.path()}, 0, ""},
        {"damaged",
         {"-events", "-jrnlfile", damaged.path()},
         0,
         "16 bytes hold no record that can be read: " + damaged.path() + '\n'},
        {"damaged, in rows",
         {"-jsonl", "-log", log.path(), "-jrnlfile", damaged.path()},
         0,
         "does not fit the log: -jrnlfile " + damaged.path() + ": records differ from the log's of the same USN\n" +
             "16 bytes hold no record that can be read: " + damaged.path() + '\n'},
        {"empty beside a log",
         {"-events", "-log", log.path(), "-jrnlfile", empty.path()},
         0,
         "no record in: " + empty.path() + '\n'},
        {"zeros beside a log",
         {"-coverage", "-log", log.path(), "-jrnlfile", zeros.path()},
         0,
         "no record in: " + zeros.path() + '\n'},
        {"not in statistics",
         {"-events", "-stats", "-jrnlfile", sound.path()},
         -1,
         "Need to specify a $LogFile in your arguments [-log <file>]\n\n"},
        {"not without -events",
         {"-jrnlfile", sound.path()},
         -1,
         "Need to specify a $LogFile in your arguments [-log <file>]\n\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        argument_list args = row.args;
        args.insert(args.begin(), "-quiet");
        const captured_run ran = run_captured(args);
        EXPECT_EQ(ran.status, row.status);
        EXPECT_EQ(ran.err.substr(0, row.err.size() + 1), row.err);
    }
}

}  // namespace
}  // namespace kest::disk
