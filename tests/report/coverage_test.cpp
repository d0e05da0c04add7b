// What -coverage says of small logs, by whole runs.

#include <map>

#include "make/log_writer.h"
#include "support/made_run.h"

namespace kest::disk {
namespace {

using facts = std::map<std::string, std::string>;

constexpr u64 noon = 130'000'000'000'000'000;  // 2012-12-14 23:06:40
constexpr u64 minute = 600'000'000;
constexpr u64 folder = 0x0001'0000'0000'0020;

// By their words; the gaps are joined.
facts facts_in(const std::string& report) {
    facts all;
    std::istringstream lines(report);
    std::string line;
    for (int skipped = 0; std::getline(lines, line); ++skipped) {
        if (skipped < 3 || line.empty()) continue;
        const std::size_t colon = line.find(':');
        std::string& value = all[line.substr(0, colon)];
        if (!value.empty()) value += ", ";
        value += line.substr(std::min(line.size(), colon + 2));
    }
    return all;
}

facts covered(const bytes& log, const bytes& mft = {}, const bytes& journal = {}, u64 log_size = 0) {
    const memory_file log_file(log, std::max<u64>(log_size, log.size())), mft_file(mft), journal_file(journal);
    argument_list args = {"-quiet", "-no_whitespace", "-base10", "-coverage", "-log", log_file.path()};
    if (!mft.empty()) args.insert(args.end(), {"-mftfile", mft_file.path()});
    if (!journal.empty()) args.insert(args.end(), {"-jrnlfile", journal_file.path()});
    const captured_run ran = run_captured(args);
    EXPECT_EQ(ran.status, 0) << ran.err;
    facts found = facts_in(ran.out);
    std::string& misfit = found["misfit"];  // as it is printed on the standard error stream
    if (!ran.err.empty()) misfit = ran.err.substr(ran.err.rfind(": ") + 2, ran.err.size() - ran.err.rfind(": ") - 3);
    return found;
}

std::string if_misfit(const std::string& fit) {
    return fit == "fits" ? std::string() : fit;
}

// Those of `wanted` as they are in `got`: so a difference shows what is there.
facts same_words(const facts& got, const facts& wanted) {
    facts out;
    for (const auto& [word, value] : wanted)
        out[word] = got.contains(word) ? got.at(word) : "(no such line)";
    return out;
}

// A log of 64 KiB that begins in round 3 and wraps: a record of 200 bytes again and again, and long ones.
bytes wrapped_log() {
    log_writer log(64 * 1024, 3);
    u64 previous = 0;
    for (int count = 0; log.round() == 3 || count < 300; ++count) {
        const bytes data(count % 50 == 49 ? 9000 : 112, 0x5A);
        previous = log.add({.previous = previous, .redo_op = 11, .undo_op = 11, .redo = data});
    }
    return log.image();
}

std::size_t page_at(u64 lsn) {
    return lsn % 8192 * 8 / 4096;
}

TEST(coverage, a_log_that_wraps_has_no_gap_and_what_is_lost_is_one) {
    const bytes whole = wrapped_log();
    const facts lines = covered(whole);
    EXPECT_EQ(lines.at("gaps"), "0");
    EXPECT_EQ(lines.at("pages_record"), "14");
    EXPECT_EQ(lines.at("pages_copied"), "2");
    EXPECT_EQ(lines.at("restart_agree"), "yes");
    const u64 lowest = std::stoull(lines.at("lsns")), highest = std::stoull(lines.at("restart_1_current_lsn"));
    EXPECT_EQ(lowest / 8192 + 1, highest / 8192) << "it goes on in the next round";

    const std::size_t lost = 11;
    ASSERT_LT(page_at(highest) + 1, lost);
    struct row {
        const char* what;
        u8 filling;
        std::size_t length;
        std::string record, never_written, foreign, gaps;
    };
    const row rows[] = {
        {"a page that was never written", 0xFF, 4096, "13", "1", "0", "1"},
        {"a page of zeros", 0, 4096, "13", "1", "0", "1"},
        {"a foreign page", 0x61, 4096, "13", "0", "1", "1"},
        {"blank but for its end", 0xFF, 4095, "13", "0", "1", "1"},
    };
    for (const auto& [what, filling, length, record, never_written, foreign, gaps] : rows) {
        bytes log = whole;
        lay(log, lost * 4096, bytes(length, filling));
        const facts wanted = {{"pages_record", record},
                              {"pages_never_written", never_written},
                              {"pages_foreign", foreign},
                              {"gaps", gaps}};
        const facts got = covered(log);
        EXPECT_EQ(same_words(got, wanted), wanted) << what;
        const std::string gap = got.contains("gap") ? got.at("gap") : "0 to 0";
        EXPECT_LE(page_at(std::stoull(gap)), lost) << what << gap;
        EXPECT_GE(page_at(std::stoull(gap.substr(gap.rfind(' ')))), lost) << what << gap;
    }
    EXPECT_EQ(covered(part(whole, 0, 32 * 1024), {}, {}, 96 * 1024).at("pages_never_written"), "8") << "a hole";
    EXPECT_EQ(covered(part(whole, 0, 32 * 1024 + 500)).at("pages_never_written"), "0") << "part of a page is none";
}

TEST(coverage, a_page_need_not_be_filled_and_a_record_in_it_may_be_lost) {
    log_writer log(64 * 1024, 3);
    const u64 first = log.add({.redo_op = 2}), second = log.add({.redo_op = 2});
    bytes image = log.image();
    // A page after it, whose LSNs are made by hand.
    const u64 next = (u64{3} << 13) | (5 * 4096 + 64) / 8;
    lay(image, 5 * 4096, record_page{.last_lsn = next, .records = {{.lsn = next, .redo_op = 2}}}.image());
    EXPECT_EQ(covered(image).at("gaps"), "0");
    bytes cut = image;
    put(cut, 16384 + 152, u64{0});  // the second record's LSN
    lay(cut, 8192, bytes(8192));    // and no copies of it
    EXPECT_EQ(covered(cut).at("gap"), std::to_string(first) + " to " + std::to_string(next));
    EXPECT_EQ(page_at(second), 4u);
    // Begun anew: the same page in a later round.
    bytes anew = image;
    const u64 later = next + (u64{2} << 13);
    lay(anew, 5 * 4096, record_page{.last_lsn = later, .records = {{.lsn = later, .redo_op = 2}}}.image());
    EXPECT_EQ(covered(anew).at("gap"), std::to_string(second) + " to " + std::to_string(later));
}

TEST(coverage, file_records_that_cannot_be_compared_are_counted) {
    log_writer log(64 * 1024);
    file_record copy{.number = 40};
    const u64 before = log.add({.redo_op = 2, .block_size = 2, .vcn = 10, .redo = copy.image()});
    const u64 last = log.add({.redo_op = 2, .block_size = 2, .vcn = 10, .redo = copy.image()});
    const u64 of_another = log.add({.redo_op = 27, .undo_op = 1});

    const std::tuple<u64, u8, std::string, std::string, std::string, std::string> rows[] = {
        {last, 'F', "1", "0", "0", "0"}, {of_another, 'F', "0", "0", "1", "0"},
        {last, 'X', "0", "1", "0", "0"}, {before, 'F', "0", "0", "0", "1"},
        {0, 'F', "0", "0", "0", "1"},    {of_another + 4096, 'F', "0", "0", "0", "0"}};
    for (const auto& [lsn, signature, compared, unreadable, unknown, older] : rows) {
        copy.lsn = lsn;
        bytes mft = mft_image({{.number = 0}, copy}, 41);
        mft[40 * 1024] = signature;
        const facts wanted = {{"mft_compared", compared},
                              {"mft_unreadable", unreadable},
                              {"mft_lsn_unknown", unknown},
                              {"mft_older", older}};
        EXPECT_EQ(same_words(covered(log.image(), mft), wanted), wanted) << signature << lsn;
    }
}

TEST(coverage, torn_pages_are_found_by_their_own_array) {
    bytes log = wrapped_log();
    EXPECT_EQ(covered(log).at("pages_torn"), "0");
    put(log, 6 * 4096 + 1534, u16{0x7777});
    put(log, 4096 + 510, u16{0x7777});
    lay(log, 8 * 4096, part(log, 0, 4096));  // a restart page elsewhere says nothing of the second
    const facts wanted = {{"pages_torn", "1"}, {"restart_1_torn", "no"}, {"restart_2_torn", "yes"}};
    EXPECT_EQ(same_words(covered(log), wanted), wanted);
    bytes page = record_page{.last_lsn = 8, .usa_offset = 48, .records = {}}.image();
    protect_sectors(page, 48, 9);
    EXPECT_EQ(covered(page).at("pages_torn"), "0");
}

TEST(coverage, restart_pages_may_disagree_or_say_nothing_of_use) {
    const bytes whole = wrapped_log();
    const bytes older = restart_page{.current_lsn = 1, .oldest_lsn = 1, .sequence_bits = 20}.image();
    struct row {
        const char* what;
        bytes first, second;
        facts wanted;
    };
    const row rows[] = {
        {"the later one counts", older, part(whole, 0, 4096), {{"restart_agree", "no"}, {"gaps", "0"}}},
        {"in either place", part(whole, 0, 4096), older, {{"restart_agree", "no"}, {"gaps", "0"}}},
        {"one is enough",
         bytes(4096),
         part(whole, 0, 4096),
         {{"restart_1", "no"}, {"restart_2", "yes"}, {"restart_agree", ""}, {"gaps", "0"}, {"pages_copied", "2"}}},
        {"none", bytes(4096), bytes(4096), {{"restart_agree", ""}, {"gaps", ""}, {"pages_copied", ""}}},
        {"too few bits for the log's size",
         restart_page{.file_size = 64 * 1024, .sequence_bits = 52}.image(),
         bytes(4096),
         {{"gaps", ""}, {"pages_copied", ""}}},
        {"no bits", restart_page{.sequence_bits = 64}.image(), bytes(4096), {{"gaps", ""}}},
        {"all bits", restart_page{.sequence_bits = 0xFFFFFFFF}.image(), bytes(4096), {{"gaps", ""}}},
    };
    for (const auto& [what, first, second, wanted] : rows) {
        bytes log = whole;
        lay(log, 0, pack(first, second));
        EXPECT_EQ(same_words(covered(log), wanted), wanted) << what;
    }
}

facts of_records(const std::vector<record>& records) {
    return covered(log_of_pages(records));
}

TEST(coverage, transactions_end_stay_open_or_are_taken_back) {
    const record begun{.lsn = 10, .redo_op = 7, .undo_op = 7};
    const record further{.lsn = 11, .previous = 10, .redo_op = 11, .undo_op = 11};
    const auto taking_back = [](u64 left, u16 operation = 11) {
        return record{.lsn = 12, .previous = 11, .undo_next = left, .redo_op = operation, .undo_op = 1};
    };
    const record forgotten{.lsn = 13, .previous = 12, .redo_op = 27, .undo_op = 1};
    const record second_end{.lsn = 12, .previous = 11, .redo_op = 26, .undo_op = 1};
    // whole, cut, of checkpoints; done, open, undone, partly undone, cut
    const std::tuple<const char*, std::vector<record>, const char*> rows[] = {
        {"committed", {begun, further, second_end}, "3 0 0; 1 0 0 0 0"},
        {"open", {begun, further}, "2 0 0; 0 1 0 0 0"},
        {"undone", {begun, further, taking_back(0), forgotten}, "4 0 0; 0 0 1 0 0"},
        {"undone without an end", {begun, further, taking_back(0)}, "3 0 0; 0 0 1 0 0"},
        {"partly undone", {begun, further, taking_back(10), forgotten}, "4 0 0; 1 0 0 1 0"},
        {"a nested action ends, and stands", {begun, further, taking_back(0, 24), forgotten}, "4 0 0; 1 0 0 0 0"},
        {"a step that only undoes", {{.lsn = 10, .undo_op = 7}}, "1 0 0; 0 1 0 0 0"},
        {"a step that cannot be undone",
         {begun, {.lsn = 11, .previous = 10, .redo_op = 11}, taking_back(10), forgotten},
         "4 0 0; 1 0 0 0 0"},
        {"nothing but an end", {{.lsn = 12, .redo_op = 26, .undo_op = 1}}, "1 0 0; 1 0 0 0 0"},
        {"prepared, which takes nothing back", {begun, further, taking_back(0, 25), forgotten}, "4 0 0; 1 0 0 0 0"},
        {"nor does no operation", {begun, further, taking_back(0, 0), forgotten}, "4 0 0; 1 0 0 0 0"},
        {"cut", {further, second_end}, "0 2 0; 1 0 0 0 1"},
        {"a checkpoint",
         {{.lsn = 20, .redo_op = 29},
          {.lsn = 21, .previous = 20, .redo_op = 30},
          {.lsn = 22, .type = 2, .redo_op = 1},
          {.lsn = 23, .previous = 21}},
         "0 0 4; 0 0 0 0 0"},
        {"copies count once", {begun, begun, further, further}, "2 0 0; 0 1 0 0 0"},
    };
    for (const auto& [what, records, wanted] : rows) {
        const facts lines = of_records(records);
        std::string got;
        for (const char* word : {"records_in_whole", "records_in_cut", "records_of_checkpoints"})
            got += (got.empty() ? "" : " ") + lines.at(word);
        got += ';';
        for (const char* word : {"done", "open", "undone", "partly_undone", "cut"})
            got += ' ' + lines.at(std::string("transactions_") + word);
        EXPECT_EQ(got, wanted) << what;
    }
}

// Of times within an hour of `noon`.
std::string clock_text(u64 from, u64 until) {
    const auto text = [](u64 minutes) {
        return "2012-12-14 23:" + std::to_string(100 + 6 + minutes).substr(1) + ":40.000000000";
    };
    return text(from) + " to " + text(until);
}

bytes file_changed_at(u64 time, u32 number = 40) {
    return file_record{.number = number, .attributes = {resident(0x10, pack(u64{1}, u64{2}, time, u64{3}, at{72}))}}
        .image();
}

TEST(coverage, times_are_those_that_the_log_sets) {
    const auto raising = [](u64 from, u64 until) {
        return record{.lsn = 30,
                      .redo_op = 7,
                      .undo_op = 7,
                      .record_offset = 56,
                      .attribute_offset = 24 + 8,
                      .redo = pack(u64{9}, until),
                      .undo = pack(u64{9}, from)};
    };
    const record born{.lsn = 10, .redo_op = 2, .redo = file_changed_at(noon + 20 * minute)};
    const record replaced{.lsn = 9, .undo_op = 2, .undo = file_changed_at(noon)};
    record again = born;
    again.previous = 9;
    record cut = born;
    cut.previous = 5;
    record taken_back = born;
    taken_back.undo_op = 1;
    const auto made = [](file_record file) {
        file.attributes = {resident(0x10, pack(u64{1}, u64{2}, noon, u64{3}, at{72}))};
        return record{.lsn = 10, .redo_op = 2, .redo = file.image()};
    };
    record no_file = born, whole = raising(1, noon), other_type = whole;
    no_file.redo[0] = 0;
    whole.attribute_offset = 24;
    whole.redo.insert(whole.redo.begin(), 8, u8{9});
    whole.undo.insert(whole.undo.begin(), 8, u8{9});
    record after = whole;
    after.record_offset = 120;
    other_type.type = 2;
    const std::tuple<const char*, std::vector<record>, std::string> rows[] = {
        {"a new file, and a time that is raised", {born, raising(noon, noon + 21 * minute)}, clock_text(20, 21)},
        {"one that goes back", {born, raising(noon + minute, noon)}, clock_text(20, 20)},
        {"a file record that is written again",
         {replaced, again, raising(noon, noon + 21 * minute)},
         clock_text(21, 21)},
        {"a new one where another transaction replaced one", {replaced, born}, clock_text(20, 20)},
        {"one that is brought back", {taken_back}, ""},
        {"one after what is lost", {cut}, ""},
        {"a file record that is not in use", {made({.flags = 0})}, ""},
        {"an extension record", {made({.base = 0x0001'0000'0000'0029})}, ""},
        {"no file record", {no_file}, ""},
        {"a time where none was", {raising(0, noon)}, ""},
        {"a whole value", {whole}, clock_text(0, 0)},
        {"another attribute", {after}, ""},
        {"a record of another type", {other_type}, ""},
    };
    for (const auto& [what, records, wanted] : rows)
        EXPECT_EQ(of_records(records).at("times_by_record"), wanted) << what;

    const auto logged = [](usn_image image) { return record{.lsn = image.usn, .redo_op = 8, .redo = image.image()}; };
    record other_logged = logged({.usn = 230});
    other_logged.type = 2;
    record unpadded = logged({.usn = 240, .time = noon + minute, .name = u"b.t"});
    unpadded.redo.resize(66);
    const facts lines = of_records({logged({.usn = 88, .time = noon}), logged({.usn = 99, .time = noon + 20 * minute}),
                                    logged({.usn = 200, .length = 400}), logged({.usn = 210, .name_length = 300}),
                                    logged({.usn = 220, .time = ~u64{0}}), unpadded, other_logged});
    EXPECT_EQ(lines.at("times_by_journal"), clock_text(0, 20));
    EXPECT_EQ(lines.at("usns"), "88 to 240") << "of those that are events";
}

TEST(coverage, a_gap_has_times_and_a_sentence_says_what_is_covered) {
    const auto files_until = [](u64 count, u64 step, u64 late = ~u64{0}) {
        log_writer log(64 * 1024, 3);
        for (u64 at = 0; at < count; ++at)
            log.add({.redo_op = 2, .redo = file_changed_at(noon + at * step + (at == late ? 90 * 60 * minute : 0))});
        return log.image();
    };
    const auto with_times_at = [](const std::vector<u64>& minutes) {
        log_writer log(64 * 1024, 3);
        for (u64 at = 0; at < 24; ++at) {
            const bool dated = std::ranges::find(minutes, at) != minutes.end();
            log.add({.redo_op = 2, .redo = file_changed_at(dated ? noon + at * minute : ~u64{0})});
        }
        return log.image();
    };
    const auto without_page = [](bytes log, std::size_t page) {
        lay(log, page * 4096, bytes(4096));
        return log;
    };
    const std::string covers = "The log covers 2012-12-14 23:06 to ";
    const bytes whole = files_until(24, minute);
    const std::tuple<const char*, bytes, std::string, std::string> rows[] = {
        {"whole", whole, "", covers + "23:29 UTC, without a gap."},
        {"a page", without_page(whole, 6), clock_text(6, 11), covers + "23:29 UTC, with one gap of about 5 minutes."},
        {"near the end, of which a tail page has a copy", without_page(whole, 10), "",
         covers + "23:29 UTC, without a gap."},
        {"a time set ahead", without_page(files_until(24, minute, 1), 6), clock_text(6, 11),
         covers + "2012-12-18 17:07 UTC, with one gap of about 5 minutes."},
        {"one time before it", without_page(with_times_at({0, 23}), 6), clock_text(0, 23),
         covers + "23:29 UTC, with one gap of about 23 minutes."},
        {"none before it", without_page(with_times_at({22, 23}), 6), "unknown to 2012-12-14 23:28:40.000000000",
         "The log covers 2012-12-14 23:28 to 23:29 UTC, with one gap of unknown length."},
        {"none after it", without_page(with_times_at({0, 1}), 6), "2012-12-14 23:07:40.000000000 to unknown",
         covers + "23:07 UTC, with one gap of unknown length."},
        {"days", without_page(files_until(24, 1440 * minute), 6),
         "2012-12-20 23:06:40.000000000 to 2012-12-25 23:06:40.000000000",
         covers + "2013-01-06 23:06 UTC, with one gap of about 5 days."},
        {"seconds", files_until(6, minute / 60), "",
         "The log covers less than a minute at 2012-12-14 23:06 UTC, without a gap."},
        {"no time", log_of_pages({{.lsn = 8, .redo_op = 7}}), "",
         "The log states no time; whether it has gaps is unknown."},
        {"no record", bytes(8192), "", "The log has no record."},
    };
    for (const auto& [what, log, gap, summary] : rows) {
        const facts lines = covered(log);
        EXPECT_EQ(lines.contains("gap_times") ? lines.at("gap_times") : "", gap) << what;
        EXPECT_EQ(lines.at("summary"), summary) << what;
    }
}

TEST(coverage, evidence_fits_if_it_says_the_same_and_not_otherwise) {
    const auto change = [](u64 lsn, u32 number) {  // to a file record of 1024 bytes in clusters of 4096
        return record{.lsn = lsn,
                      .redo_op = 7,
                      .undo_op = 7,
                      .cluster_block = static_cast<u16>(number % 4 * 2),
                      .block_size = 2,
                      .vcn = number / 4};
    };
    const record born{.lsn = 10,
                      .redo_op = 2,
                      .cluster_block = 2,
                      .block_size = 2,
                      .vcn = 10,
                      .redo = file_record{.number = 41}.image()};
    const record logged{.lsn = 30, .redo_op = 8, .redo = usn_image{.file = 0x0001'0000'0000'0029, .usn = 500}.image()};
    record of_index = change(22, 41);
    of_index.redo_op = 14;
    record other_type = change(23, 41);
    other_type.type = 2;
    const bytes log = log_of_pages({born, change(20, 41), change(21, 42), of_index, other_type, logged});
    EXPECT_EQ(covered(log).at("cluster_size"), "4096");
    record in_first_cluster = born;
    in_first_cluster.vcn = 0;
    EXPECT_EQ(covered(log_of_pages({in_first_cluster})).at("cluster_size"), "");
    const auto file = [](u64 lsn, std::u16string name = u"a.txt", u32 number = 41, u16 flags = 1) {
        return mft_image(
            {{.number = 0, .lsn = 1},
             {.number = number,
              .flags = flags,
              .lsn = lsn,
              .attributes = {resident(0x10, pack(at{64}, u64{500})), name_image{.name = name}.attribute()}}},
            50);
    };
    const std::tuple<const char*, bytes, const char*> mfts[] = {
        {"fits", file(20), "fits"},
        {"an LSN that the log does not have", file(19), "names no record of the log"},
        {"an earlier one", file(9), "older than the log, or of another volume"},
        {"another place", file(21), "1 with the LSN of a record about another file"},
        {"a later one", file(31), "1 with an LSN above the log's"},
        {"another name", file(20, u"b.txt"), "1 with another name than in the log"},
        {"another name of one that is gone", file(20, u"b.txt", 41, 0), "fits"},
        {"a record of another type", file(23), "1 with the LSN of a record about another file"},
        {"no place of a file record", file(22), "1 with the LSN of a record about another file"},
        {"another file of that USN", file(21, u"b.txt", 42), "fits"},
    };
    for (const auto& [what, mft, wanted] : mfts) {
        const facts lines = covered(log, mft);
        EXPECT_EQ(lines.at("mft_fit"), wanted) << what;
        EXPECT_EQ(lines.at("misfit"), if_misfit(wanted)) << what;
    }

    const auto of_two_names = [&](const name_image& second) {
        const file_record two{.number = 41,
                              .lsn = 20,
                              .attributes = {resident(0x10, pack(at{64}, u64{500})),
                                             name_image{.name = u"b.txt"}.attribute(), second.attribute()}};
        return covered(log, mft_image({{.number = 0, .lsn = 1}, two}, 50)).at("mft_fit");
    };
    EXPECT_EQ(of_two_names({.parent = folder, .name = u"c.txt"}), "fits") << "the journal may tell the other";
    EXPECT_EQ(of_two_names({.name = u"c.txt", .space = 2}), "1 with another name than in the log");
    EXPECT_EQ(covered(log_of_pages({change(20, 41)}), file(20)).at("mft_fit"), "") << "the cluster size is not known";
    EXPECT_EQ(covered(log_of_pages({change(20, 2)}), file(20, u"a.txt", 2)).at("mft_fit"), "fits") << "nor needed";
    EXPECT_EQ(covered(pack(restart_page{.current_lsn = 50}.image(), log), file(50)).at("mft_fit"), "")
        << "a restart page knows a later LSN";

    const auto journal = [](const std::vector<usn_image>& records) {
        bytes image;
        for (const usn_image& r : records)
            append(image, r.image());
        image.resize(8192);
        return image;
    };
    const usn_image same{.file = 0x0001'0000'0000'0029, .usn = 500};
    usn_image other = same, version_3 = same;
    other.reason = 0x200;
    usn_image other_file = same, other_time = same;
    other_file.file = 0x0001'0000'0000'002A;
    other_time.time = noon + 1;
    version_3.version = 3;
    const std::tuple<const char*, std::vector<usn_image>, const char*> journals[] = {
        {"fits", {{.usn = 0}, same}, "fits"},
        {"version 3", {version_3}, "fits"},
        {"differs", {other, {.usn = 600}}, "1 differ from the log's of the same USN"},
        {"of another file", {other_file}, "1 differ from the log's of the same USN"},
        {"of another time", {other_time}, "1 differ from the log's of the same USN"},
        {"after", {{.usn = 501}, {.usn = 600}}, "begins behind the log's last USN"},
        {"before", {{.usn = 0}, {.usn = 499}}, "ends ahead of the log's first USN"},
        {"around", {{.usn = 432}, {.usn = 504}}, "has no record of the log's USNs"},
    };
    EXPECT_EQ(covered(log_of_pages({born}), {}, journal({same})).at("misfit"), "the log has no journal record");
    EXPECT_EQ(covered(log_of_pages({change(20, 2)}), {}, journal({same})).at("misfit"), "") << "it need not";
    EXPECT_EQ(covered(log, {}, journal({same, {.usn = 501, .time = ~u64{0}}})).at("journal_times"), clock_text(0, 0));
    for (const auto& [what, records, wanted] : journals) {
        const facts lines = covered(log, {}, journal(records));
        EXPECT_EQ(lines.at("journal_fit"), wanted) << what;
        const std::string counted = if_misfit(wanted);
        EXPECT_EQ(lines.at("misfit"), counted[0] == '1' ? "records" + counted.substr(1) : counted) << what;
        EXPECT_EQ(lines.at("journal_records"), std::to_string(records.size())) << what;
    }
}

TEST(coverage, logs_of_a_list_are_kept_apart_and_statistics_win) {
    // The first ends within a record that the second would take for its own.
    const record last{.lsn = 20, .redo_op = 2, .redo = bytes(400, 0x5A)};
    const record filler{.lsn = 10, .redo_op = 2, .redo = bytes(4096 - 64 - 88 - 96)};
    const memory_file first(record_page{.last_lsn = 20, .last_end_lsn = 10, .records = {filler, last}}.image());
    const bytes rest = part(last.image(), 96);
    const memory_file second(record_page{.last_lsn = 30, .continuation = rest, .records = {{.lsn = 30}}}.image());
    const std::string paths = first.path() + '\n' + second.path() + '\n';
    const memory_file list(std::span(reinterpret_cast<const std::uint8_t*>(paths.data()), paths.size()));
    argument_list args = {"-quiet", "-no_whitespace", "-base10", "-coverage", "-pipe"};
    const facts lines = facts_in(run_captured(args, list.path()).out);
    EXPECT_EQ(lines.at("log"), first.path() + ", " + second.path());
    EXPECT_EQ(lines.at("lsns"), "10 to 10, 30 to 30");
    args.push_back("-stats");
    EXPECT_NE(run_captured(args, list.path()).out.find("opcode meaning"), std::string::npos);
}

}  // namespace
}  // namespace kest::disk
