#include "driver/run.h"

#include <gtest/gtest.h>
#include <regex>

#include "support/captured_run.h"
#include "support/usn_image.h"

namespace kest {
namespace {

using disk::captured_run;
using disk::contents_of;
using disk::run_captured;

std::string as_text(const disk::bytes& image) {
    return {image.begin(), image.end()};
}

std::string log_of(const std::vector<disk::record>& records) {
    return as_text(disk::log_image{}.restart().page({.last_lsn = records.back().lsn, .records = records}).image());
}

// One record, "Noop", that is the head of a chain.
std::string small_log() {
    return log_of({{.lsn = 0x2008}, {.lsn = 0x2010, .previous = 0x2008}});
}

// A log whose records hold journal records of these files.
std::string log_of_files(const std::vector<std::uint64_t>& references) {
    std::vector<disk::record> records;
    for (const std::uint64_t reference : references) {
        const std::uint64_t lsn = 0x2008 + 8 * records.size();
        records.push_back({.lsn = lsn, .redo_op = 8, .redo = disk::usn_image{.file = reference}.image()});
    }
    return log_of(records);
}

std::size_t lines_with(const std::string& text, std::string_view words) {
    std::size_t count = 0;
    for (std::size_t at = text.find(words); at != text.npos; at = text.find(words, at + 1))
        ++count;
    return count;
}

const std::string clear = "\x1b[2K\r    \r";

TEST(run, without_a_log_says_what_is_missing) {
    const captured_run none = run_captured({"-mftfile", "x", "-jrnlfile", "y"});
    EXPECT_EQ(none.status, -1);
    EXPECT_EQ(none.err, "Need to specify a $LogFile in your arguments [-log <file>]\n\n");
    EXPECT_TRUE(none.out.ends_with("\"cmdline: kest -mftfile x -jrnlfile y\"\n\n")) << none.out;

    const captured_run list = run_captured({"-pipe", "-mftfile", "a b"});
    EXPECT_EQ(list.status, -1);
    EXPECT_EQ(lines_with(list.err, "Usage\n  kest -log <logfile>"), 1U);
    EXPECT_TRUE(list.out.ends_with("\"cmdline: <filelist> ... | kest -pipe -mftfile 'a b'\"\n\n")) << list.out;
}

TEST(run, help_is_found_anywhere) {
    for (const argument_list& args : std::vector<argument_list>{{}, {"-out", "x", "/?"}, {"--HELP"}}) {
        const captured_run help = run_captured(args);
        EXPECT_EQ(help.status, 0);
        EXPECT_EQ(help.out, "");
        EXPECT_TRUE(help.err.starts_with("kest - limited ver: 0.23 - NTFS $LogFile analyser\n\nUsage\n"));
    }
    EXPECT_EQ(run({}), -1);
}

TEST(run, kept_the_stamp_has_a_date_format_of_its_own) {
    const auto stamped = [](const argument_list& args, const char* date) {
        const std::regex stamp("\nrun time: " + std::string(date) + " \\d\\d:\\d\\d:\\d\\d UTC; host: .+\n");
        return std::regex_search(run_captured(args).out, stamp);
    };
    EXPECT_TRUE(stamped({"-x"}, "\\d\\d/\\d\\d/\\d{4}"));
    EXPECT_TRUE(stamped({"-dateformat", ""}, "\\d\\d/\\d\\d/\\d{4}"));
    EXPECT_TRUE(stamped({"-dateformat", "dd-mmm-yy"}, "\\d\\d-[A-Z][a-z][a-z]-\\d{4}"));  // not judged by its length
}

TEST(run, a_single_log_is_reported_with_words_for_the_operator) {
    const disk::scratch_folder folder;
    const std::string log = folder.put("log", small_log());
    const captured_run shown = run_captured({"-log", log, "-stats"});
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(shown.err, "trying to parse file: " + log + "\nparsing complete\n" + clear);
    EXPECT_EQ(lines_with(shown.out, "\"\ncode"), 1U);  // the table follows the header without an empty line
    EXPECT_EQ(run_captured({"-log", log, "-stats", "-quiet"}).err, "");

    const captured_run missing = run_captured({"-log", folder.at("missing"), "-quiet"});
    EXPECT_EQ(missing.status, -1);
    EXPECT_EQ(missing.err, "prob parsing file: " + folder.at("missing") + "\n");
}

TEST(run, kept_an_empty_log_fails_only_in_company) {
    const disk::scratch_folder folder;
    const std::string log = folder.put("log");
    const std::string journal = folder.put("journal", std::string(4096, '\0'));
    EXPECT_EQ(run_captured({"-log", log, "-quiet"}).status, 0);
    const captured_run company = run_captured({"-log", log, "-jrnlfile", journal, "-quiet"});
    EXPECT_EQ(company.status, -1);
    EXPECT_EQ(company.err, "prob parsing file: " + log + "\n");
    EXPECT_EQ(run_captured({"-enumdir", log, "-quiet"}).status, -1);
}

TEST(run, what_comes_with_the_log_is_checked_first) {
    const disk::scratch_folder folder;
    const std::string log = folder.put("log", small_log());
    const std::string bad = folder.put("bad", std::string(4095, '\0'));
    for (const char* option : {"-mftfile", "-jrnlfile"}) {
        const captured_run failed = run_captured({"-log", log, option, bad});
        EXPECT_EQ(failed.status, -1);
        EXPECT_EQ(failed.err, "prob parsing file: " + bad + "\n" + clear);
    }
}

TEST(run, workers_report_their_stages) {
    const disk::scratch_folder folder;
    const std::string log = folder.put("log", log_of_files({0x1'0000'0000'0028, 0x1'0000'0000'0029}));
    const std::string journal = folder.put("journal", std::string(4096, '\0'));
    const std::string diags = folder.at("diags");
    const captured_run shown =
        run_captured({"-log", log, "-jrnlfile", journal, "-stats", "-diags", diags, "-l2", "-profile"});
    EXPECT_EQ(shown.status, 0);
    std::string words;
    for (const char* text :
         {"worker threads spawned", "threads completed, combining data", "diags - logfile data: 2 entries",
          "populating subdirs: 0 folders", "threads completed, formatting output"}) {
        words += clear + text + '\r';
    }
    EXPECT_TRUE(shown.err.starts_with(words + clear + "->")) << shown.err;
    EXPECT_TRUE(shown.err.ends_with(" secs\n"));
    EXPECT_EQ(lines_with(contents_of(diags), "->found 0 mft entries [mft]\n"), 1U);
    EXPECT_EQ(lines_with(contents_of(diags), "->found 2 mft entries [logfile-usnjrnl], 2 were unique\n"), 1U);
}

// The second record has no sequence number, so it tells nothing of a number that is known.
TEST(run, kept_no_file_is_unique_behind_one_that_is_known) {
    const disk::scratch_folder folder;
    const std::string log = folder.put("log", log_of_files({0x1'0000'0000'0028, 0x28, 0x1'0000'0000'0029}));
    const std::string journal = folder.put("journal", std::string(4096, '\0'));
    const std::string diags = folder.at("diags");
    EXPECT_EQ(run_captured({"-log", log, "-jrnlfile", journal, "-diags", diags, "-l2"}).status, 0);
    EXPECT_EQ(lines_with(contents_of(diags), "found 3 mft entries [logfile-usnjrnl], 1 were unique"), 1U);
}

TEST(run, kept_the_time_in_the_diagnostic_file_has_no_line_end) {
    const disk::scratch_folder folder;
    const std::string log = folder.put("log", small_log());
    const std::string diags = folder.at("diags");
    const captured_run quiet = run_captured({"-log", log, "-diags", diags, "-quiet"});
    EXPECT_EQ(quiet.err, "");  // only `-profile` shows the time
    const std::string text = contents_of(diags);
    EXPECT_TRUE(text.starts_with("->kest -log "));
    EXPECT_TRUE(text.ends_with(" secs")) << text;
}

TEST(run, a_list_succeeds_if_one_file_does) {
    const disk::scratch_folder folder;
    const std::string good = folder.put("tree/good", small_log());
    const std::string empty = folder.put("tree/empty");
    const std::string list = folder.put("list", "\nmissing\n" + good + "\r\n" + empty + "\n" + good);
    const std::string diags = folder.at("diags");
    const captured_run both = run_captured({"-pipe", "-stats", "-csv", "-no_whitespace", "-diags", diags}, list);
    EXPECT_EQ(both.status, 0);
    EXPECT_EQ(both.err,
              "trying to parse file: missing\nprob parsing file: missing\n"
              "trying to parse file: " +
                  good + "\nsuccess: " + good + "\n" + "trying to parse file: " + empty + "\nprob parsing file: " +
                  empty + "\n" + "trying to parse file: " + good + "\nsuccess: " + good + "\n" + clear);
    EXPECT_EQ(lines_with(both.out, "OP 0,"), 1U);
    EXPECT_EQ(lines_with(both.out, ",2," + good + "\n"), 2U);  // each log is counted by itself
    EXPECT_EQ(lines_with(contents_of(diags), "\n->" + good + "\n"), 2U);

    EXPECT_EQ(run_captured({"-enumdir", folder.at("tree"), "-quiet"}).status, 0);
    EXPECT_EQ(run_captured({"-enumdir", folder.at("tree"), "-filter", "empty", "-quiet"}).status, -1);
    EXPECT_EQ(run_captured({"-enumdir", folder.at("missing"), "-quiet"}).err, "");
    EXPECT_EQ(run_captured({"-pipe", "-filter", "empty", "-quiet"}, list).status, -1);
}

TEST(run, the_results_file_takes_all_of_the_report) {
    const disk::scratch_folder folder;
    const std::string log = folder.put("log", small_log());
    const captured_run written = run_captured({"-log", log, "-out", folder.at("report"), "-quiet"});
    EXPECT_EQ(written.status, 0);
    EXPECT_EQ(written.out, "");
    const std::string report = contents_of(folder.at("report"));
    EXPECT_TRUE(report.starts_with("kest - limited ver: 0.23"));
    EXPECT_EQ(lines_with(report, "\n"), 6U);  // three of the header, the titles, a head and its member

    const std::string unwritable = folder.at("no/such/report");
    const captured_run refused = run_captured({"-log", log, "-out", unwritable});
    EXPECT_EQ(refused.status, -1);
    EXPECT_TRUE(refused.err.starts_with("prob opening file " + unwritable + " for output, aborting\n"));
    EXPECT_EQ(contents_of(log), small_log());
}

}  // namespace
}  // namespace kest
