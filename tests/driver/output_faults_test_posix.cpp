// What goes wrong outside: disks that fill, readers that go away, inputs that cannot be read or change under the run.

#include <csignal>
#include <functional>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <malloc.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include "portable/database.h"
#include "report/page_template.h"
#include "support/prepared_run.h"

namespace kest {
namespace {

using disk::contents_of;
using disk::ended_run;
using disk::put_on;
using disk::run_captured;
using disk::run_prepared;
using disk::scratch_folder;

const std::string samples = KEST_SAMPLES;
const std::string sample_log = contents_of(samples + "/LogFile");
const std::string sample_mft = contents_of(samples + "/MFT");
const std::string sample_journal = contents_of(samples + "/UsnJrnl_J");
constexpr rlim_t put_area = 262'144;  // what is written to a report at once, as a rule

// A log of which the report takes several writes.
std::string large_log() {
    std::vector<disk::record> records;
    while (records.size() < 3200)
        records.push_back({.lsn = records.size() + 1});
    const disk::bytes image = disk::log_of_pages(records);
    return {image.begin(), image.end()};
}

argument_list with(argument_list args, const argument_list& more) {
    args.insert(args.end(), more.begin(), more.end());
    return args;
}

// A pipe whose reader takes some bytes and goes.
void put_on_pipe(int standard, std::size_t taken) {
    int ends[2];
    if (::pipe(ends) != 0) ::abort();
    if (taken != 0 && ::fork() == 0) {
        ::close(ends[1]);
        for (char byte; taken != 0 && ::read(ends[0], &byte, 1) == 1;)
            --taken;
        ::_exit(0);
    }
    ::dup2(ends[1], standard);
    ::close(ends[0]);
    ::close(ends[1]);
}

// Permissions come to bind the superuser too.
void obey_permissions() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    const __user_cap_data_struct none[2] = {};
    ::syscall(SYS_capset, &header, none);
}

void expect_reported(const ended_run& result, const std::string& target) {
    EXPECT_EQ(result.status, 255);
    EXPECT_EQ(result.err, "prob writing results file: " + target + "\n");
}

std::string after_the_clock(const std::string& report) {
    if (report.starts_with('{')) return report;  // a line of JSON
    return report.substr(std::min(report.size(), report.find("\"cmdline")));
}

TEST(output_faults, a_disk_that_is_full_at_any_byte_is_reported) {
    const scratch_folder folder;
    const std::string log = folder.put("log", large_log());
    const std::string list = folder.put("list", log + "\nmissing\n" + log + "\n");
    const std::string report = folder.at("report");
    const std::pair<argument_list, std::string> rows[] = {{{"-log", log, "-quiet"}, "standard output"},
                                                          {{"-log", log, "-quiet", "-jsonl"}, "standard output"},
                                                          {{"-pipe", "-quiet", "-out", report, "-append"}, report},
                                                          {{"-log", log, "-quiet", "-page", report}, report}};
    for (const auto& [args, expected] : rows) {
        if (args.back() == report && expected == report && page_template_head().empty()) continue;  // not in this build
        const auto run_limited = [&, given = args](rlim_t most) {
            folder.put("report");
            return run_prepared(given, [&] {
                put_on(STDIN_FILENO, list);
                put_on(STDOUT_FILENO, report);
                const rlimit bytes{most, most};
                ::setrlimit(RLIMIT_FSIZE, &bytes);
                ::signal(SIGXFSZ, SIG_IGN);
            });
        };
        EXPECT_EQ(run_limited(RLIM_INFINITY).status, 0);
        const std::string whole = contents_of(report);
        ASSERT_GT(whole.size(), put_area + 1);
        for (const rlim_t most : {rlim_t{0}, rlim_t{1}, put_area - 1, put_area, put_area + 1, whole.size() - 1}) {
            SCOPED_TRACE(expected + ", " + std::to_string(most));
            expect_reported(run_limited(most), expected);
            const std::string cut = contents_of(report);
            // A stream has as much as there was room for, a file what stood there.
            EXPECT_EQ(cut.size(), expected == report ? 0 : most);
            EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.at("")), {}), 3);
            EXPECT_TRUE(after_the_clock(whole).starts_with(after_the_clock(cut)));
        }
        EXPECT_EQ(run_limited(whole.size()).status, 0);
    }
}

TEST(output_faults, a_report_that_nobody_takes_is_reported_and_nobody_to_report_to_is_no_fault) {
    const scratch_folder folder;
    const std::string log = folder.put("log", large_log()), report = folder.at("report");
    const argument_list args = {"-log", samples + "/LogFile", "-out", report};
    EXPECT_EQ(run_captured(args).status, 0);
    const std::string whole = after_the_clock(contents_of(report));
    const std::pair<const char*, std::function<void(int)>> rows[] = {
        {"full", [](int standard) { put_on(standard, "/dev/full"); }},
        {"closed", [](int standard) { ::close(standard); }},
        {"for reading only", [](int standard) { put_on(standard, "/dev/null", O_RDONLY); }},
        {"no reader", [](int standard) { put_on_pipe(standard, 0); }},
        {"a reader of one byte", [](int standard) { put_on_pipe(standard, 1); }},
        {"a reader of more than the first write", [](int standard) { put_on_pipe(standard, put_area + 1); }},
    };
    for (const auto& [what, put] : rows) {
        SCOPED_TRACE(what);
        expect_reported(run_prepared({"-log", log, "-quiet"}, [&, on = put] { on(STDOUT_FILENO); }), "standard output");
        const auto deaf = [&, on = put] { on(STDERR_FILENO); };
        EXPECT_EQ(run_prepared(args, deaf).status, 0);
        EXPECT_EQ(after_the_clock(contents_of(report)), whole);
        EXPECT_EQ(run_prepared({"-log", log, "-out", "/dev/full"}, deaf).status, 255);
        EXPECT_EQ(run_prepared({"-help"}, deaf).status, 0);
    }
    const ended_run timed = run_prepared({"-log", log, "-quiet", "-profile", "-out", "/dev/full"}, [] {});
    EXPECT_TRUE(timed.err.starts_with("prob writing results file: /dev/full\n->")) << timed.err;
    EXPECT_EQ(run_captured(with({"-diags", "/dev/full", "-l3"}, args)).status, 0);
    expect_reported(run_prepared({"-log", log, "-quiet", "-cut", "-out", report, "-diags", "/dev/full"}), "/dev/full");
}

TEST(output_faults, what_cannot_be_written_is_refused) {
    const scratch_folder folder;
    const std::string log = folder.put("log", sample_log);
    const std::string read_only = folder.put("read only", "kept");
    const std::string old = folder.put("old", "FILE, an older report");
    const std::string in_use = folder.put("locked/in use", "old");
    ASSERT_EQ(::mkfifo(folder.at("fifo").c_str(), 0600), 0);
    std::filesystem::create_symlink("no/such/report", folder.at("dangling"));
    std::filesystem::permissions(read_only, std::filesystem::perms(0444));
    std::filesystem::permissions(folder.at("locked"), std::filesystem::perms(0555));
    for (const std::string& target :
         {std::string("/proc/no_such_file"), std::string("/"), std::string("/dev/null/report"), folder.at("fifo"),
          folder.at("dangling"), folder.at("no/such/report"), read_only, folder.at("locked/report")}) {
        SCOPED_TRACE(target);
        const ended_run refused = run_prepared({"-log", log, "-out", target}, obey_permissions);
        EXPECT_EQ(refused.status, 255);
        EXPECT_EQ(refused.err, "prob opening file " + target +
                                   " for output, aborting\n"
                                   "Need to specify a $LogFile in your arguments [-log <file>]\n\n");
        const ended_run unheard = run_prepared({"-log", log, "-diags", target, "-l3", "-quiet"}, obey_permissions);
        EXPECT_EQ(unheard.status, 0);
        EXPECT_EQ(unheard.err, "");
    }
    EXPECT_EQ(contents_of(read_only), "kept");
    // A file that can be written but not deleted is as good as a new one, and so is a link to a device.
    EXPECT_EQ(run_prepared({"-log", log, "-out", in_use, "-quiet"}, obey_permissions).status, 0);
    EXPECT_TRUE(contents_of(in_use).starts_with("kest - "));
    std::filesystem::permissions(folder.at("locked"), std::filesystem::perms(0755));
    std::filesystem::create_symlink("/dev/null", folder.at("link"));
    EXPECT_EQ(run_captured({"-log", log, "-outfile", folder.at("link"), "-quiet"}).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(folder.at("link")));
    ::setenv("KEST_OUT", folder.at("").c_str(), 1);  // begins like evidence, and is none
    EXPECT_EQ(run_captured({"-log", log, "-out", "%KEST_OUT%\\" + std::string("old"), "-quiet"}).status, 0);
    EXPECT_TRUE(contents_of(old).starts_with("kest - "));
}

TEST(output_faults, a_database_is_new_and_whole_or_none) {
    if (!uni::database::available()) GTEST_SKIP() << "no SQLite";
    const scratch_folder inputs, folder;
    const std::string log = inputs.put("log", sample_log), journal = inputs.put("jrnl", sample_journal),
                      path = folder.at("case.db");
    const argument_list args = {"-log", log, "-jrnlfile", journal, "-quiet", "-db", path};
    const auto files = [&folder] {
        return std::distance(std::filesystem::directory_iterator(folder.at("")), std::filesystem::directory_iterator());
    };
    for (const rlim_t most : {0, 1, 65535, 65536, 400'000}) {
        const rlimit bytes{most, most};
        expect_reported(run_prepared(args, [&bytes] { ::setrlimit(RLIMIT_FSIZE, &bytes); }), path);
        EXPECT_EQ(files(), 0) << most;
    }
    const std::pair<argument_list, std::string> refused[] = {
        {{"-mftfile", inputs.at("none")}, "prob parsing file: " + inputs.at("none") + " (no such file)\n"},
        {{"-out", path}, "prob opening file " + path + " for output, aborting (evidence, or in use)\n"},
        {{"-coverage"}, "-db is for events and rows only\n"},
        {{"-undo", "-out", folder.at("rows")}, "-db of rows stands in place of the report: no -out\n"},
    };
    for (const auto& [more, words] : refused) {
        const auto run = run_captured(with(args, more));
        EXPECT_EQ(run.status, -1);
        EXPECT_EQ(run.err, words);
        EXPECT_EQ(files(), 0) << words;
    }
    for (const argument_list& more : {argument_list{}, {"-undo"}, {"-events", "-out", folder.at("events")}}) {
        EXPECT_EQ(run_captured(with(args, more)).status, 0);
        const std::string whole = contents_of(path);
        EXPECT_TRUE(whole.starts_with("SQLite format 3"));
        EXPECT_EQ(run_captured(args).err,
                  "prob opening file " + path + " for output, aborting (there is such a file already)\n");
        EXPECT_EQ(contents_of(path), whole);
        std::filesystem::remove(path);
    }
    EXPECT_EQ(run_captured({"-log", log, "-quiet", "-db", log}).status, -1);
    EXPECT_EQ(contents_of(log), sample_log);
}

// Of two results files the later counts. A run that is refused, or finds nothing to report on, makes and changes no
// file.
TEST(output_faults, what_is_not_written_stays_as_it_was) {
    const scratch_folder folder;
    const std::string log = folder.put("log", sample_log), old = folder.put("old", "kept");
    const std::string fresh = folder.at("new"), missing = folder.at("missing");
    const argument_list rows[] = {
        {"-log", log, "-sqlite", "x"},  {"-log", log, "-strict", "-nonsense"}, {"-stats"}, {"-log", missing},
        {"-log", log, "-mftfile", old},
    };
    for (const argument_list& args : rows) {
        for (const std::string& path : {old, fresh}) {
            EXPECT_EQ(run_captured(with(args, {"-out", path})).status, -1);
            if (args.back() == missing || args.back() == old) continue;  // which begins
            EXPECT_EQ(run_captured(with({"-diags", path}, args)).status, -1);
        }
        EXPECT_EQ(contents_of(old), "kept");
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.at("")), {}), 2);
    }
    EXPECT_EQ(run_captured({"-log", log, "-strict", "-quiet", "-out", old, "-outfile", fresh}).err,
              "ignored: -out " + old + '\n');
    EXPECT_EQ(run_captured({"-log", log, "-quiet", "-out", old, "-outfile", fresh}).status, 0);
    EXPECT_EQ(contents_of(old), "kept");
    EXPECT_TRUE(contents_of(fresh).starts_with("kest - "));
}

// Whatever name an input goes by as an output, it is not even opened for writing: it is known by its identity.
TEST(output_faults, evidence_is_not_written) {
    const scratch_folder folder, tree;
    const std::string log = folder.put("log", sample_log), mft = folder.put("mft", sample_mft),
                      journal = folder.put("jrnl", sample_journal);
    const argument_list inputs = {"-log", log, "-mftfile", mft, "-jrnlfile", journal};
    folder.put("x/file");
    std::filesystem::create_directory_symlink(folder.at(""), tree.at("there"));
    std::filesystem::create_hard_link(journal, tree.at("hard"));
    std::filesystem::create_symlink(journal, tree.at("soft"));
    ::setenv("KEST_EVIDENCE", folder.at("").c_str(), 1);
    const int watch = ::inotify_init1(IN_NONBLOCK);
    for (const std::string& path : {log, mft, journal})
        ::inotify_add_watch(watch, path.c_str(), IN_CLOSE_WRITE | IN_MODIFY | IN_ATTRIB | IN_MOVE_SELF);
    const argument_list rows[] = {
        with(inputs, {"-out", log}),
        with(inputs, {"-page", mft}),
        with(inputs, {"-outfile", mft + "\\/", "-append"}),
        with(inputs, {"-out", folder.at("./log")}),
        with({"-out", folder.at("x/../mft")}, inputs),
        with({"-out", tree.at("there/jrnl"), "-append"}, inputs),
        with({"-outfile", tree.at("hard")}, inputs),
        with({"-out", tree.at("soft")}, inputs),
        with({"-out", "%KEST_EVIDENCE%log"}, inputs),
        with({"-pipe", "-out", mft}, inputs),
        with({"-enumdir", tree.at(""), "-out", journal}, inputs),
        // An option that is taken lets what stands after it move up to the input option.
        {"-log", "-csv", log, "-out", log},
        {"-log", "-outfile", log, log},
        {"-jrnlfile", "-hostname", "-out", log, "-out", log},
    };
    for (const argument_list& args : rows)
        EXPECT_EQ(run_captured(args).status, -1) << ::testing::PrintToString(args);
    for (const std::string& path : {log, mft + '/', tree.at("hard"), tree.at("soft")})
        EXPECT_EQ(run_captured(with(inputs, {"-diags", path, "-quiet"})).status, 0);
    for (const std::string& path : {log, mft})  // the arguments do not name them
        EXPECT_EQ(run_captured({"-pipe", "-out", path, "-diags", path}, folder.put("list", log + '\n')).status, -1);
    const std::string image = folder.put("image", "\xEBR\x90NTFS    ");
    const std::string wiped_log = folder.put("headless", std::string(4096, '\0') + sample_log.substr(4096)),
                      far = folder.put("far", std::string(100'000, '\0') + sample_journal),
                      off_page = folder.put("off page", sample_journal.substr(8));
    for (const std::string& path : {journal, image, wiped_log, far, off_page})
        EXPECT_EQ(run_captured({"-log", log, "-quiet", "-page", path, "-out", path, "-diags", path}).status, -1);
    for (const char* shape : {"-csv", "-jsonl", "-jsonl"})  // reports may be replaced
        EXPECT_EQ(run_captured({"-log", log, "-undo", shape, "-quiet", "-out", folder.at("report")}).status, 0);
    run_captured({"-mftfile", "-diags", log, log});
    char event[4096];
    EXPECT_EQ(::read(watch, event, sizeof event), -1);  // none
    ::close(watch);
    for (const int standard : {STDOUT_FILENO, STDERR_FILENO}) {  // the arguments do not name it
        const auto append = [&, standard] { put_on(standard, journal, O_WRONLY | O_APPEND); };
        EXPECT_EQ(run_prepared({"-log", log, "-events", "-quiet"}, append).status, 255);
    }
    for (const char* option : {"-quiet", "-sqlite"}) {  // which is refused, after a header on the standard output
        for (const int standard : {STDOUT_FILENO, STDERR_FILENO}) {
            for (const std::string& path : {log, journal})
                EXPECT_EQ(run_prepared(with(inputs, {option, "x"}),
                                       [&, standard] { put_on(standard, path, O_WRONLY | O_APPEND); })
                              .status,
                          255);
        }
    }
    EXPECT_EQ(contents_of(log) + contents_of(mft) + contents_of(journal), sample_log + sample_mft + sample_journal);

    // Named in a list alone, and not known by what it begins with.
    const std::string wiped = folder.put("wiped", std::string(4096, '\0') + sample_log.substr(4096));
    const std::string list = folder.put("list", wiped);
    const auto run_into = [&](int standard) {
        return run_prepared({"-pipe"}, [&, standard] {
            put_on(STDIN_FILENO, list);
            put_on(standard, wiped, O_WRONLY | O_APPEND);
        });
    };
    EXPECT_EQ(run_captured({"-pipe", "-quiet"}, list).status, 0);
    EXPECT_EQ(run_into(STDOUT_FILENO).err,
              "trying to parse file: " + wiped + "\nprob parsing file: " + wiped + "\n\x1b[2K\r    \r");
    EXPECT_EQ(run_into(STDERR_FILENO).status, 255);
    const std::string before = contents_of(wiped);
    EXPECT_EQ(run_captured({"-pipe", "-quiet", "-out", wiped}, list).status, -1);
    EXPECT_EQ(contents_of(wiped), before);
    const std::string both = folder.at("both");
    EXPECT_EQ(run_captured({"-diags", both, "-out", both, "-log", log}).status, -1);
    EXPECT_EQ(run_captured({"-log", log, "-diags", both, "-out", both}).status, -1);
    EXPECT_EQ(run_prepared({"-pipe", "-quiet"}, [] { put_on(STDIN_FILENO, "/", O_RDONLY); }).err,
              "prob reading file: standard input\n");
}

TEST(output_faults, a_list_goes_on_after_what_cannot_be_read) {
    const scratch_folder folder;
    const std::string log = folder.put("log", sample_log);
    const std::string locked = folder.put("locked", sample_log);
    std::filesystem::permissions(locked, std::filesystem::perms::none);
    ASSERT_EQ(::mkfifo(folder.at("fifo").c_str(), 0600), 0);
    std::filesystem::create_symlink("loop", folder.at("loop"));
    std::string list, expected;
    for (const std::string& bad : {folder.at("missing"), folder.at(""), folder.at("fifo"), folder.at("loop"),
                                   log + "/in it", locked, std::string("/proc/self/mem")}) {
        list += bad + "\n" + log + "\n";
        expected += "trying to parse file: " + bad + '\n';
        if (bad == "/proc/self/mem") expected += "prob reading file: " + bad + '\n';  // it opens
        expected += "prob parsing file: " + bad + '\n';
        expected += "trying to parse file: " + log + "\nsuccess: " + log + "\n";
    }
    const std::string list_file = folder.put("list", list), report = folder.put("report");
    const ended_run result = run_prepared({"-pipe", "-stats", "-csv"}, [&] {
        obey_permissions();
        put_on(STDIN_FILENO, list_file);
        put_on(STDOUT_FILENO, report);
    });
    EXPECT_EQ(result.status, 255);
    EXPECT_TRUE(result.err.starts_with(expected)) << result.err;
    const std::string text = contents_of(report);
    EXPECT_EQ(std::ranges::count(text, '\n'), 4 + 7);
}

}  // namespace
}  // namespace kest
