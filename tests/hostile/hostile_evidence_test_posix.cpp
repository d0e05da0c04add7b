// Evidence made to cost more than it weighs. Each run is a process of its own, with bounds on what it may spend.

#include <numeric>
#include <sys/resource.h>

#include "hostile/allocations.h"
#include "support/prepared_run.h"

namespace kest::disk {
namespace {

// What is not bounded takes hours, or does not end; more under sanitizers.
constexpr rlim_t most_seconds = 60;
constexpr std::size_t most_memory = std::size_t{256} << 20;  // bytes
constexpr std::size_t most_reserved = most_memory;           // as well, and not touched

constexpr u64 late_lsn = 0x0800'0000;  // later than any file record

void limit_time() {
    const rlimit seconds{most_seconds, most_seconds};
    ::setrlimit(RLIMIT_CPU, &seconds);
}

// Besides the rows a report as text has four lines. `limits`: what the run says of guards.
void expect_bounded(argument_list args, std::size_t rows, std::uintmax_t most_report, const std::string& limits = {},
                    bool as_json = false, std::size_t most_allocated = most_memory) {
    const scratch_folder folder;
    const std::string report = folder.at("report");
    args.insert(args.end(),
                {"-quiet", as_json ? "-jsonl" : "-csv", "-no_whitespace", "-showall_inodes", "-out", report});
    take_peak_of_allocations();
    const ended_run ended = run_prepared(args, limit_time);
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.err, limits.empty() ? "" : "limits reached: " + limits + '\n');
    EXPECT_LE(take_peak_of_allocations(), most_allocated);
    EXPECT_LE(std::filesystem::file_size(report), most_report);
    std::ifstream text(report);
    std::size_t lines = 0;
    for (std::string line; std::getline(text, line);)
        ++lines;
    EXPECT_EQ(lines, rows + (as_json ? 0 : 4));
}

// Heads with a member each; the members have one LSN, from which as many further records go on.
bytes chains_that_share_a_tail(u64 count) {
    std::vector<record> records;
    for (u64 lsn = 1; lsn <= count; ++lsn) {
        records.push_back({.lsn = lsn});
        records.push_back({.lsn = count + 1, .previous = lsn});
    }
    for (u64 lsn = count + 2; lsn <= 2 * count + 1; ++lsn)
        records.push_back({.lsn = lsn, .previous = lsn - 1});
    return log_of_pages(records);
}

// A head, and records each of which is its own predecessor and that of all the others.
bytes records_that_name_themselves(std::size_t count) {
    std::vector<record> records(count, record{.lsn = 8, .previous = 8});
    records[0].previous = 0;
    return log_of_pages(records);
}

// A log of one record, which ends in as many of these pieces as it can hold.
bytes log_of_pieces(u16 operation, bytes redo, const bytes& piece) {
    while (redo.size() < 65'000)
        append(redo, piece);
    return log_of_one(operation, redo);
}

// A file record as the log holds it, filled with attributes of this type, each of this stated length.
bytes log_of_attributes(u32 type, u32 length) {
    const bytes head = pack(u32{0x454C4946}, at{16}, u16{1}, u16{1}, u16{48}, u16{1}, at{44}, u32{40});
    return log_of_pieces(2, head, part(pack(type, length, u16{0}, at{16}, u32{8}, at{length}), 0, length));
}

// Index entries of this stated length that hold no key.
bytes log_of_entries(u16 length) {
    return log_of_pieces(12, {}, pack(u64{0x0001'0000'0000'0028}, length, u16{70}, u32{0}));
}

TEST(hostile_evidence, logs_cost_what_they_weigh) {
    constexpr std::size_t many = 20'000;
    const std::tuple<const char*, bytes, std::size_t, std::uintmax_t> rows[] = {
        // rows of the report, and how much text there may be for a byte of the log
        {"heads that share a tail", chains_that_share_a_tail(many), 3 * many, 1},
        {"records that name themselves", records_that_name_themselves(many), 2, 1},
        {"attributes of one byte", log_of_attributes(0, 1), 2, 4},
        {"ten thousand attributes", log_of_attributes(0, 6), 2, 4},
        {"attributes of a header alone", log_of_attributes(0x80, 24), 2, 8},
        {"attributes shorter than a header", log_of_attributes(0x80, 8), 2, 4},
        {"lists in one another", log_of_attributes(0x20, 64), 2, 8},
        {"index entries of length 1", log_of_entries(1), 2, 4},
        {"index entries of a header alone", log_of_entries(16), 2, 16},
    };
    for (const auto& [what, image, lines, text_per_byte] : rows) {
        SCOPED_TRACE(what);
        const memory_file log(image);
        expect_bounded({"-log", log.path()}, lines, 1000 + text_per_byte * image.size());
        expect_bounded({"-log", log.path()}, lines, 1000 + 2 * text_per_byte * image.size(), {}, true);
    }
}

// File records with a name, every eighth a folder's, and one attribute besides.
bytes mft_of(u32 count, const std::function<bytes(u32)>& attribute_of) {
    std::vector<file_record> records;
    for (u32 number = 0; number < count; ++number) {
        const u16 flags = number % 8 == 5 ? 3 : 1;
        records.push_back({.number = number, .flags = flags, .lsn = 100 + number});
        records.back().attributes.push_back(attribute_of(number));
    }
    return mft_image(records, count);
}

// Folders each of which lies in the next, the last in the folder with this number.
bytes mft_of_folders(u32 count, u32 last_parent, std::size_t name_length) {
    std::vector<file_record> records;
    for (u32 number = 0; number < count; ++number) {
        const u64 parent = number + 1 < count ? number + 1 : last_parent;
        const name_image name{.parent = u64{1} << 48 | parent, .name = std::u16string(name_length, u'n')};
        records.push_back({.number = number, .flags = 3, .lsn = 100 + number, .attributes = {name.attribute()}});
    }
    return mft_image(records, count);
}

TEST(hostile_evidence, mfts_cost_what_they_weigh) {
    constexpr u32 many = 4096;
    const memory_file log(log_of_pages({{.lsn = late_lsn}, {.lsn = late_lsn + 1, .previous = late_lsn}}));
    const auto list = [](u32 number) {
        std::vector<u64> references;
        for (u32 step = 1; step <= 24; ++step)
            references.push_back((number * 24 + step * 7) % many);
        return resident(0x20, list_value(references));
    };
    bytes runs;  // of 2^55 clusters each, far more bytes than 64 bits count
    for (u8 step = 1; step <= 80; ++step)
        append(runs, {0x17, 0, 0, 0, 0, 0, 0, 0x80, step});
    const auto claim = [&runs](u32 type) {
        return [&runs, type](u32) { return nonresident(type, runs, {.initialized_size = ~u64{0}}); };
    };
    const auto own_clusters = [](u32 number) {  // of the MFT
        const bytes run = {0x21, 64, static_cast<u8>(number), static_cast<u8>(number >> 8 & 0x7F), 0};
        return nonresident(0x20, run, {.initialized_size = 262'144});
    };
    const std::tuple<const char*, bytes, const char*> rows[] = {
        {"folders in a circle", mft_of_folders(many, 0, 255), "paths"},
        {"folders very deep", mft_of_folders(many, 5, 255), "paths"},
        {"folders that lead into a circle", mft_of_folders(many, many / 2, 40), "paths"},
        {"lists that fan out", mft_of(many, list), "extension records, attribute lists"},
        {"lists of petabytes", mft_of(many, claim(0x20)), ""},
        {"lists all over the MFT", mft_of(many, own_clusters), ""},
        {"indexes of petabytes", mft_of(many, claim(0xA0)), "index runs"},
    };
    for (const auto& [what, image, limits] : rows) {
        SCOPED_TRACE(what);
        const memory_file mft(image);
        expect_bounded({"-log", log.path(), "-mftfile", mft.path()}, many + 2, 160u << 20, limits);
    }
}

// The folder that lies too deep has a mark in place of all that lies above it.
TEST(hostile_evidence, paths_of_events_do_not_look_whole) {
    const std::tuple<u64, std::size_t, std::string, std::string> rows[] = {
        // folders, the lengths of their names, what the last path begins with, what is said
        {128, 255, "[root]\\", ""},
        {129, 255, "<unk_path>\\", "limits reached: paths\n"},
        {255, 1, "[root]\\", ""},
        {256, 1, "<unk_path>\\", "limits reached: paths\n"},
    };
    for (const auto& [folders, length, begin, said] : rows) {
        SCOPED_TRACE(folders);
        bytes image;
        for (u64 at = 0; at <= folders; ++at) {
            const bool is_folder = at != folders;
            const std::u16string name = is_folder ? std::u16string(length, u'\uffff') : u"leaf";
            const bytes one = usn_image{.file = 100 + at + (u64{1} << 48),
                                        .parent = at == 0 ? 5 + (u64{5} << 48) : 99 + at + (u64{1} << 48),
                                        .attributes = is_folder ? 0x10U : 0x20U,
                                        .name = name}
                                  .image();
            if (image.size() % 4096 + one.size() > 4096) image.resize((image.size() + 4095) / 4096 * 4096);
            append(image, one);
        }
        image.resize((image.size() + 4095) / 4096 * 4096);
        const memory_file journal(image);
        const captured_run ran = run_captured({"-jrnlfile", journal.path(), "-events", "-quiet", "-no_whitespace"});
        EXPECT_EQ(ran.err, said);
        const std::string last = ran.out.substr(ran.out.rfind('\n', ran.out.size() - 2));
        EXPECT_NE(last.find("|created||" + begin + "\uffff"), std::string::npos) << last.substr(0, 200);
        if (folders != 128) continue;
        std::size_t peaks[2];
        for (const bool summed : {false, true}) {
            take_peak_of_allocations();
            const char* const report = summed ? "-summary" : "-events";
            EXPECT_EQ(run_prepared({"-jrnlfile", journal.path(), report, "-quiet"}, limit_time).status, 0);
            peaks[summed] = take_peak_of_allocations();
        }
        EXPECT_LE(peaks[1], peaks[0] + (std::size_t{3} << 20));  // names of few folders are kept
    }
}

// What attackers spend is not missing where an innocent file lies after them.
TEST(hostile_evidence, takes_nothing_from_innocent_files) {
    constexpr u32 many = 2048;
    const auto name_in = [](u64 parent, std::u16string name) {
        return name_image{.parent = parent, .name = std::move(name)}.attribute();
    };
    const auto file_of = [&](u32 number, std::vector<bytes> attributes, u16 flags = 1) {
        return file_record{.number = number, .flags = flags, .attributes = std::move(attributes)};
    };
    std::vector<u64> others(28);
    std::iota(others.begin(), others.end(), 100'000);
    const bytes out_of_reach = resident(0x20, list_value(others));
    std::vector<file_record> deep = {{.number = 0}}, greedy = deep;
    for (u32 number = 40; number < many; ++number) {
        const u32 above = number == 40 ? 5 : std::min(number, 40 + 127u) - 1;  // in a chain, or in its deepest folder
        deep.push_back(file_of(number, {name_in(above, std::u16string(255, u'\uffff'))}, 3));
        greedy.push_back(file_of(number, {out_of_reach, name_in(5, u"greedy")}, 3));
    }
    const std::vector<file_record> innocent = {
        file_of(many, {name_in(5, u"Users")}, 3),
        file_of(many + 1, {name_in(many, u"anna")}, 3),
        file_of(many + 2, {resident(0x20, list_value({many + 3}))}),
        {.number = many + 3, .base = many + 2, .attributes = {name_in(many + 1, u"secret.txt")}}};
    const std::pair<std::vector<file_record>*, std::string> rows[] = {{&deep, "limits reached: paths\n"},
                                                                      {&greedy, "limits reached: extension records\n"}};
    for (auto [records, expected] : rows) {
        records->insert(records->end(), innocent.begin(), innocent.end());
        const memory_file mft(mft_image(*records, many + 4));
        const auto log_about = [](u64 number) {
            return log_of_pages(
                {{.lsn = 8, .redo_op = 12, .redo = pack(number | u64{1} << 48, u16{16}, u16{80}, u32{0})}});
        };
        const memory_file log(log_about(many + 2)), log_of_deepest(log_about(many - 1));
        const captured_run ran = run_captured({"-log", log.path(), "-mftfile", mft.path(), "-quiet"});
        EXPECT_NE(ran.out.find("[root]\\Users\\anna\\secret.txt"), std::string::npos) << ran.out;
        EXPECT_EQ(ran.err, expected);
        if (records != &deep) continue;
        const captured_run cut = run_captured({"-log", log_of_deepest.path(), "-mftfile", mft.path(), "-quiet"});
        EXPECT_NE(cut.out.find("| <unk_path>\\\uffff"), std::string::npos) << cut.out.substr(0, 500);
    }
}

// A file with as many parents as its extension records can tell, and rows each of which makes a copy of it.
TEST(hostile_evidence, copies_of_a_large_record_are_small) {
    constexpr u16 many = 20'000;
    std::vector<u64> extensions;
    std::vector<file_record> records = {{.number = 0, .flags = 3}, {.lsn = 2 * late_lsn}};
    for (u32 number = 41; number < 41 + 23; ++number) {
        extensions.push_back(number);
        records.push_back({.number = number, .base = 40, .lsn = 2 * late_lsn, .attributes = {}});
        for (u64 parent = 1; parent <= 43; ++parent)  // a value that lies over the header
            records.back().attributes.push_back(pack(u32{0x30}, u32{22}, 1000 * number + parent, u32{8}, u16{8}));
    }
    records[1].attributes.push_back(resident(0x20, list_value(extensions)));
    std::vector<record> rows;
    for (u64 sequence = 2; sequence < many; ++sequence)
        rows.push_back(
            {.lsn = 8 * sequence, .redo_op = 12, .redo = pack(sequence << 48 | 40, u16{16}, u16{80}, u32{0})});
    const memory_file log(log_of_pages(rows)), mft(mft_image(records, 80));
    expect_bounded({"-log", log.path(), "-mftfile", mft.path()}, many - 2, 20 << 20, "parents");
}

// None of its records is kept decoded until its row.
TEST(hostile_evidence, a_long_transaction_is_as_cheap_as_short_ones) {
    constexpr u64 many = 60'000;
    const bytes of_file = file_record{.sequence = 2, .attributes = {}}.image();
    std::vector<record> one = {{.lsn = 1}, {.lsn = 2, .redo_op = 8, .redo = usn_image{}.image()}};
    while (one.size() < many) {
        const bytes redo = one.size() % 1000 == 0 ? bytes(of_file.begin(), of_file.begin() + 56) : bytes{};
        one.push_back({.lsn = one.size() + 1, .redo_op = 2, .redo = redo});
    }
    const memory_file each(log_of_pages(one));
    for (record& step : one)
        step.previous = step.lsn - 1;
    const bytes log = log_of_pages(one);
    const memory_file together(log);
    const auto memory_for = [](const memory_file& file) {
        take_peak_of_allocations();
        run_prepared({"-log", file.path(), "-quiet"});
        return take_peak_of_allocations();
    };
    EXPECT_LE(memory_for(together), memory_for(each) + most_memory / 128);
    const std::vector<row_cells> rows = rows_of(log);
    ASSERT_EQ(rows.size(), many);
    EXPECT_EQ(rows[1000][parent_cell], "0x05");
    for (std::size_t at = 2000; at < many; at += 1000) {
        for (const cell each_cell : {time_cell, inode_cell, sequence_cell, parent_cell, path_cell, details_cell})
            EXPECT_EQ(rows[at][each_cell], rows[1000][each_cell]) << at;
    }
}

// File systems that hold little here and there, and claim the rest.
// Each record claims most of the log, and each page that it goes on there.
TEST(hostile_evidence, pages_that_claim_one_another_cost_what_they_weigh) {
    constexpr u64 many = 2048;
    constexpr unsigned bits = 20;
    bytes log(many * 4096, 0xFF);
    lay(log, 0, restart_page{.current_lsn = 1, .file_size = log.size(), .sequence_bits = 64 - bits}.image());
    const u64 claimed = u64{2} << bits | 4 * 512 | 8;
    for (u64 page = 2; page < many; ++page) {
        record_page hostile{.last_lsn = claimed, .last_end_lsn = claimed};
        for (u64 at = 64; at < 4000; at += 88)
            hostile.records.push_back(
                {.lsn = u64{2 + page % 2} << bits | (page * 4096 + at) / 8, .data_length = 0xFF000});
        lay(log, page * 4096, hostile.image());
    }
    const memory_file file(log);
    take_peak_of_allocations();
    EXPECT_EQ(run_prepared({"-log", file.path(), "-events", "-quiet"}, limit_time).status, 0);
    EXPECT_LE(take_peak_of_allocations(), most_memory);
}

// One transaction: many names of a file that is as often born or freed, or sizes at every place of its record.
TEST(hostile_evidence, events_cost_what_they_weigh) {
    constexpr u64 many = 20'000;
    const bytes image = part(file_record{.attributes = {}}.image(), 0, 80);
    const record born{.redo_op = 2, .undo_op = 3, .vcn = 10, .redo = image};
    const std::tuple<const char*, record, record, std::size_t> rows[] = {
        // what comes first, what comes then, and how many events that is
        {"births", {.redo_op = 14, .undo_op = 15}, born, many},
        {"ends", {.redo_op = 15, .undo_op = 14}, {.redo_op = 3, .undo_op = 2, .vcn = 10, .undo = image}, many},
        {"sizes", born, {.redo_op = 11, .undo_op = 11, .vcn = 10}, 0},
    };
    for (const auto& [what, first, second, events] : rows) {
        SCOPED_TRACE(what);
        std::vector<record> records(many, first);
        records.resize(2 * many, second);
        for (u64 at = 0; at < 2 * many; ++at) {
            record& r = records[at];
            r.previous = 8 * at;
            r.lsn = 8 * at + 8;
            r.record_offset = static_cast<u16>(at);
            const name_image name{.name = {static_cast<char16_t>(0x4E00 + at)}};
            const bytes entry = pack(u64{1} << 48 | 40, u16{0x58}, u16{0x44}, u32{0}, name.value(), disk::at{0x58});
            if (r.redo_op >= 14) (r.redo_op == 14 ? r.redo : r.undo) = entry;
            if (r.redo_op == 11) r.redo = r.undo = pack(u64{4096}, at, at);
        }
        const bytes log = log_of_pages(records);
        const memory_file file(log);
        expect_bounded({"-log", file.path(), "-events"}, events, 2 * log.size(), {}, true, 12 * log.size());
    }
}

// Runs of 2^60 clusters over one another, which go and come back, and bits that are set over all of them.
TEST(hostile_evidence, runs_over_one_another_cost_what_they_weigh) {
    std::vector<record> records(8'000, record{.redo_op = 21, .undo_op = 22, .target_attribute = 24});
    records[0] = {.redo_op = 28, .target_attribute = 24, .redo = pack(~u32{0}, disk::at{16}, u64{6}, disk::at{40})};
    bytes pairs;
    for (int run = 0; run < 60; ++run)
        append(pairs, {0x18, 0, 0, 0, 0, 0, 0, 0, 0x10, static_cast<u8>(run)});
    const bytes data = nonresident(0x80, pairs);
    const bytes image = file_record{.attributes = {name_image{}.attribute(), data}}.image();
    for (u64 at = 0; at < records.size(); ++at) {
        record& r = records[at];
        r.lsn = 8 * at + 8;
        if (at % 4 == 0 && at != 0) r = {.lsn = r.lsn, .redo_op = 2, .vcn = 10, .redo = image};
        if (at % 4 == 1) r = {.lsn = r.lsn, .redo_op = 3, .undo_op = 2, .vcn = 10, .undo = part(image, 0, 24)};
        if (r.redo_op == 21) r.redo = r.undo = pack(static_cast<u32>(at), ~u32{0});
    }
    const memory_file file(log_of_pages(records));
    for (const char* const report : {"-events", "-extents"})
        EXPECT_EQ(run_prepared({"-log", file.path(), report, "-quiet"}, limit_time).status, 0) << report;
    EXPECT_LE(take_peak_of_allocations(), most_memory);
}

using steps = std::vector<record>;

// Transactions of these steps, each of which ends.
bytes log_of(const std::vector<steps>& transactions) {
    std::vector<record> records;
    for (const steps& some : transactions) {
        u64 previous = 0;
        for (std::size_t at = 0; at <= some.size(); ++at) {
            records.push_back(at < some.size() ? some[at] : record{.redo_op = 27, .undo_op = 1});
            records.back().lsn = 8 * records.size();
            records.back().previous = std::exchange(previous, records.back().lsn);
        }
    }
    return log_of_pages(records);
}

record to_file(u64 number, record step, u16 size = 1024) {
    step.block_size = size / 512;
    step.vcn = number * size / 4096;
    step.cluster_block = static_cast<u16>(number * size % 4096 / 512);
    return step;
}

// A whole file record, as it is logged: the ends of its sectors are in their places. What fits into a page.
record image_of(const file_record& made) {
    bytes image = made.image();
    for (std::size_t sector = 1; sector <= made.size / 512; ++sector)
        std::copy_n(image.begin() + static_cast<std::ptrdiff_t>(48 + 2 * sector), 2,
                    image.begin() + static_cast<std::ptrdiff_t>(512 * sector - 2));
    image.resize(std::min<std::size_t>(image.size(), 3900));
    return to_file(made.number, {.redo_op = 2, .redo = image}, static_cast<u16>(made.size));
}

record named(u64 reference, u64 parent, const std::u16string& name) {
    const bytes key = name_image{.parent = parent, .name = name}.value();
    const auto length = static_cast<u16>(padded(16 + key.size()));
    return {.redo_op = 14,
            .undo_op = 15,
            .redo = pack(reference, length, static_cast<u16>(key.size()), u32{0}, key, at{length})};
}

bytes one_run(u32 begin) {
    return pack(u8{0x41}, u8{1}, begin);
}
bytes with_more_runs(bytes first, int count) {
    for (int run = 0; run < count; ++run)
        append(first, {0x11, 1, 2});
    return pack(first, u8{0});
}

constexpr u64 victim = u64{1} << 48 | 40;

// Streams that lie in extension records of one file, and are removed with them in one transaction.
bytes log_of_streams(u32 records, u32 streams_of_each, bool of_one_name, int runs) {
    std::vector<steps> all = {{image_of({.number = 40})}, {}, {}};
    for (u32 number = 1000; number < 1000 + records; ++number) {
        file_record made{.number = number, .base = victim, .attributes = {}};
        for (u16 at = 0; at < streams_of_each; ++at) {
            const bytes hole = pack(u8{0x04}, u32{1} + static_cast<u32>(runs) * (number - 1000));
            const std::u16string name = {static_cast<char16_t>(of_one_name ? u'x' : 0x4000 + number),
                                         static_cast<char16_t>(u'0' + at)};
            made.attributes.push_back(nonresident(
                0x80, with_more_runs(pack(hole, one_run(number * 0x1000 + 2 * at)), runs), {.name = name, .id = at}));
        }
        all[1].push_back(image_of(made));
        all[2].push_back(
            to_file(number, {.redo_op = 4, .record_offset = 72, .redo = {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0}}));
    }
    return log_of(all);
}

// Each step writes some bytes of an attribute, after which all of it is another one.
bytes log_of_writes(std::vector<steps> all, file_record made, std::size_t count, u16 op, u16 place,
                    const auto& bytes_at) {
    const u16 offset = static_cast<u16>(72 + made.attributes[0].size());
    all.push_back({image_of(made), named(victim, all.empty() ? 5 : u64{1} << 48 | (999 + all.size()), u"a")});
    for (std::size_t at = 0; at < count; ++at) {
        all.push_back({to_file(40,
                               {.redo_op = op,
                                .undo_op = op,
                                .record_offset = offset,
                                .attribute_offset = place,
                                .redo = bytes_at(at + 1),
                                .undo = bytes_at(at)},
                               static_cast<u16>(made.size))});
    }
    return log_of(all);
}

TEST(hostile_evidence, what_file_records_bring_back_costs_what_is_logged) {
    const bytes name = name_image{.name = u"a"}.attribute();
    const auto first_run = [](std::size_t at) {
        return pack(u64{1} << 20, u64{1} << 20, u64{1} << 20, one_run(static_cast<u32>(at + 1) * 0x1000), u16{0x0111});
    };
    const attribute_head sizes{.allocated_size = 1 << 20, .real_size = 1 << 20, .initialized_size = 1 << 20};
    bytes attributes;
    for (u8 at = 0; at < 80; ++at)
        append(attributes, pack(u32{at < 79 ? 10U : 0U}, u8{0}, u8{1}, u16{0}, at, u8{0}));
    const auto list_end = [](std::size_t at) { return pack(u32{at % 2 == 0 ? 10U : 0U}); };
    std::vector<steps> deep;
    for (u64 at = 0; at < 100; ++at)
        deep.push_back({named(u64{1} << 48 | (1000 + at), at == 0 ? 5 : u64{1} << 48 | (999 + at),
                              std::u16string(255, u'\u0fff'))});
    std::vector<steps> many_files;
    for (u32 number = 100; number < 225; ++number)
        many_files.push_back({image_of({.number = number, .attributes = {name, resident(0xE0, attributes)}}),
                              named(u64{1} << 48 | number, 5, u"a")});
    const file_record with_list{.attributes = {name, resident(0xE0, attributes)}};
    const file_record with_runs{.attributes = {name, nonresident(0x80, with_more_runs(one_run(0x1000), 250), sizes)}};
    const file_record with_content{.attributes = {name, resident(0x80, pack(u32{0}, bytes(3600, 'x')))}, .size = 4096};
    const std::tuple<const char*, bytes, const char*, const char*, std::size_t> rows[] = {
        // which report, what is said, and how much text there may be for a byte of the log
        {"many streams", log_of_streams(3000, 10, false, 0), "-events", "", 32},
        {"one stream of many records", log_of_streams(300, 1, true, 250), "-events", "clusters", 32},
        {"moving runs", log_of_writes({}, with_runs, 8'000, 11, 0, first_run), "-extents", "clusters", 64},
        {"ends of lists in the deepest folder", log_of_writes(deep, with_list, 60, 7, 24, list_end), "-events", "paths",
         2048},
        {"ten thousand extended attributes", log_of(many_files), "-events", "", 64},
        {"versions of contents",
         log_of_writes({}, with_content, 19'000, 7, 24, [](std::size_t at) { return pack(static_cast<u32>(at)); }),
         "-content", "contents", 8},
    };
    for (const auto& [what, log, report, limits, text_per_byte] : rows) {
        SCOPED_TRACE(what);
        const memory_file file(log);
        const scratch_folder folder;
        argument_list args = {"-log", file.path(), "-quiet", "-jsonl", "-out", folder.at("report"), report};
        if (std::string_view(report) == "-content") args.push_back(folder.at("contents"));
        take_peak_of_allocations();
        const ended_run ended = run_prepared(args, limit_time);
        EXPECT_EQ(ended.status, 0);
        EXPECT_NE(ended.err.find(limits), std::string::npos) << ended.err;
        EXPECT_EQ(ended.err.empty(), *limits == 0) << ended.err;
        EXPECT_LE(take_peak_of_allocations(), std::size_t{112} << 20);
        EXPECT_LE(std::filesystem::file_size(folder.at("report")), text_per_byte * log.size());
    }
}

TEST(hostile_evidence, holes_cost_nothing) {
    constexpr u64 claimed = u64{1} << 42;
    const bytes pages = log_of_pages({{.lsn = late_lsn}, {.lsn = late_lsn + 1, .previous = late_lsn}});
    const memory_file log(pages), log_with_holes(pages, claimed);
    const memory_file mft(mft_of_folders(16, 5, 1), claimed), journal(usn_image{}.image(), claimed);
    const auto expect_cheap = [](const argument_list& args, std::size_t rows) {
        expect_bounded(args, rows, 8192, {}, false, most_memory + most_reserved);
    };
    expect_cheap({"-log", log_with_holes.path()}, 2);
    expect_cheap({"-log", memory_file(pages, (u64{12} << 30) + pages.size(), 1024).path()}, 2);
    expect_cheap({"-log", log.path(), "-mftfile", mft.path()}, 2 + 16);
    expect_cheap({"-log", log.path(), "-jrnlfile", journal.path()}, 2);
}

}  // namespace
}  // namespace kest::disk
