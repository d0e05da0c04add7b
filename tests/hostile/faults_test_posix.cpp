// What fails inside: reads, writes that fail late, memory, threads, and what others do between two steps of a run.

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <pthread.h>
#include <set>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include "hostile/allocations.h"
#include "support/prepared_run.h"
#include "support/volume_image.h"

namespace {

// Some system calls come by here. Runs are processes of their own, which set what is to fail.
struct {
    off_t unreadable = -1;          // offset at which every file fails, after
    int readable = 0;               // so many reads
    bool closing = false;           // what was open for writing fails when it is closed
    bool mounted = false;           // no file can be replaced
    std::function<void()> at_work;  // is done when the first input is read
} injected;

}  // namespace

extern "C" {
ssize_t pread(int descriptor, void* buffer, size_t size, off_t offset) {
    if (const auto act = size >= 4096 ? std::exchange(injected.at_work, {}) : nullptr) act();
    if (offset != injected.unreadable || injected.readable-- > 0)
        return ::syscall(SYS_pread64, descriptor, buffer, size, offset);
    errno = EIO;
    return -1;
}
int close(int descriptor) {
    const bool written = (::fcntl(descriptor, F_GETFL) & O_ACCMODE) != O_RDONLY;
    const auto result = static_cast<int>(::syscall(SYS_close, descriptor));
    if (!written || !injected.closing) return result;
    errno = EDQUOT;
    return -1;
}
int rename(const char* from, const char* to) noexcept {
    if (!injected.mounted) return static_cast<int>(::syscall(SYS_rename, from, to));
    errno = EBUSY;
    return -1;
}
}

namespace kest::disk {
namespace {

const std::string samples = KEST_SAMPLES;
const argument_list sample_log = {"-quiet", "-csv", "-log", samples + "/LogFile"};

argument_list with(argument_list args, const argument_list& more) {
    args.insert(args.end(), more.begin(), more.end());
    return args;
}

using names = std::set<std::string>;

struct run_faults : ::testing::Test {
    // What it says, and its report after the lines of the run's own.
    ended_run ran(const argument_list& args, const std::function<void()>& prepare) {
        folder.put("report");
        const ended_run result = run_prepared(args, [&] {
            put_on(STDOUT_FILENO, folder.at("report"));
            prepare();
        });
        report = contents_of(folder.at("report"));
        report.erase(0, report.find("\"\n"));
        return result;
    }

    names files() const {
        names found;
        for (const auto& entry : std::filesystem::directory_iterator(folder.at("")))
            found.insert(entry.path().filename());
        return found;
    }

    const scratch_folder folder;
    std::string report;
};

TEST_F(run_faults, a_read_that_fails_is_reported_and_so_is_the_rest) {
    const std::string sample = contents_of(samples + "/LogFile"), mft = contents_of(samples + "/MFT"),
                      journal = contents_of(samples + "/UsnJrnl_J");
    const auto at_begin_and_after = [](std::string image, std::size_t offset) {
        std::string twice = image;
        twice.resize(offset);
        return twice + image;
    };
    const argument_list log = {"-log", folder.put("log", at_begin_and_after(sample, 4 << 20))};
    const argument_list two = with(sample_log, {"-mftfile", folder.put("mft", at_begin_and_after(mft, 1 << 20))});
    const argument_list three =
        with(sample_log, {"-jrnlfile", folder.put("jrnl", at_begin_and_after(journal, 1 << 20))});
    const bytes volume =
        volume_image{.log = {sample.begin(), sample.end()}, .journal = {journal.begin(), journal.end()}}.image();
    const std::string image = folder.put("image", std::string(volume.begin(), volume.end()));
    const std::tuple<argument_list, off_t, int, std::string> rows[] = {
        {with({"-quiet"}, log), 4 << 20, 0, "log"},
        {with({"-quiet", "-coverage", "-provenance"}, log), 4 << 20, 1, "log"},
        {two, 1 << 20, 0, "mft"},
        {three, 1 << 20, 0, "jrnl"},
        {with({"-coverage"}, three), 1 << 20, 0, "jrnl"},
        {with({"-events"}, three), 1 << 20, 0, "jrnl"},
        {with({"-events"}, three), 1 << 20, 1, "jrnl"},
        {{"-quiet", "-events", "-image", image}, 100 * cluster, 0, "image/$LogFile"},
    };
    for (const auto& [args, offset, readable, name] : rows) {
        EXPECT_EQ(ran(args, [] {}).status, 0);
        const auto rows_before = std::ranges::count(report, '\n');
        const ended_run ended = ran(args, [at = offset, first = readable] {
            injected.unreadable = at;
            injected.readable = first;
        });
        EXPECT_EQ(ended.status, 255);
        EXPECT_EQ(ended.err, "prob reading file: " + folder.at(name) + '\n');
        EXPECT_GT(std::ranges::count(report, '\n'), rows_before / 3);
    }
    const auto cut = [&image] { std::filesystem::resize_file(image, 106 * cluster); };
    const ended_run ended = ran({"-quiet", "-events", "-image", image}, [&cut] { injected.at_work = cut; });
    EXPECT_EQ(ended.status, 255);
    EXPECT_NE(ended.err.find("prob reading image (cut while it was read): " + image), std::string::npos) << ended.err;
    EXPECT_GT(std::ranges::count(report, '\n'), 3);
}

TEST_F(run_faults, threads_that_cannot_be_had_cost_nothing) {
    const argument_list mft_and_journal = {"-mftfile", samples + "/MFT", "-jrnlfile", samples + "/UsnJrnl_J"};
    std::vector<record> many;  // of which the report takes several writes
    while (many.size() < 3200)
        many.push_back({.lsn = many.size() + 1});
    const memory_file large(log_of_pages(many));
    for (const argument_list& args : {with(sample_log, mft_and_journal), {"-quiet", "-log", large.path()}}) {
        EXPECT_EQ(ran(args, [] {}).status, 0);
        const std::string whole = report;
        const ended_run ended = ran(args, [] {
            pthread_attr_t far_too_large;
            ::pthread_attr_init(&far_too_large);
            ::pthread_attr_setstacksize(&far_too_large, std::size_t{1} << 46);
            ::pthread_setattr_default_np(&far_too_large);
        });
        EXPECT_EQ(ended.status, 0);
        EXPECT_TRUE(report == whole);
    }
}

TEST_F(run_faults, a_write_that_fails_at_the_end_is_reported) {
    const ended_run ended = ran(sample_log, [] { injected.closing = true; });
    EXPECT_EQ(ended.status, 255);
    EXPECT_EQ(ended.err, "prob writing results file: standard output\n");
}

// Whatever comes to stand under its name meanwhile: a link to evidence, or the file of another run.
TEST_F(run_faults, a_results_file_is_not_taken_over) {
    const std::string evidence = folder.put("evidence", "kept"), out = folder.at("out");
    const ended_run ended = run_prepared(with(sample_log, {"-out", out}), [&] {
        injected.at_work = [&] { static_cast<void>(::symlink(evidence.c_str(), out.c_str())); };
    });
    EXPECT_EQ(ended.status, 255);
    EXPECT_EQ(ended.err, "prob writing results file: " + out + "\n");
    std::filesystem::remove(out);
    for (const char* in_use : {"out", ".out.kest-unfinished"}) {
        const int other = ::open(folder.put(in_use, "another's").c_str(), O_RDWR);
        ASSERT_EQ(::flock(other, LOCK_EX), 0);
        EXPECT_EQ(run_prepared(with(sample_log, {"-out", out})).status, 255);
        EXPECT_EQ(contents_of(evidence) + contents_of(folder.at(in_use)), "keptanother's");
        ::close(other);
        EXPECT_EQ(run_prepared(with(sample_log, {"-out", out})).status, 0);
        EXPECT_TRUE(contents_of(out).starts_with("kest - "));
        EXPECT_EQ(files(), (names{"evidence", "out"}));
        std::filesystem::remove(out);
    }
}

TEST_F(run_faults, a_file_that_cannot_be_replaced_is_written) {
    const std::string out = folder.put("out", std::string(1 << 20, 'x'));
    EXPECT_EQ(run_prepared(with(sample_log, {"-out", out}), [] { injected.mounted = true; }).status, 0);
    EXPECT_EQ(ran(sample_log, [] {}).status, 0);
    const std::string written = contents_of(out);
    EXPECT_EQ(written.substr(written.find("\"\n")), report);
    std::filesystem::remove(folder.at("report"));
    EXPECT_EQ(files(), names{"out"});
}

TEST_F(run_faults, a_signal_leaves_what_stood_there) {
    for (const char* old : {"old", ""}) {
        const std::string out = *old != '\0' ? folder.put("out", old) : folder.at("new");
        const names before = files();
        for (const int number : {SIGHUP, SIGINT, SIGTERM, SIGKILL}) {
            const auto run_signalled = [&](auto disposition) {
                return run_prepared(with(sample_log, {"-out", out}), [&] {
                    ::signal(number, disposition);
                    injected.at_work = [number] { ::raise(number); };
                });
            };
            EXPECT_EQ(run_signalled(SIG_DFL).status, -number);
            EXPECT_TRUE(number == SIGKILL || files() == before) << number;
            EXPECT_EQ(contents_of(out), old);
        }
        EXPECT_EQ(files().size(), before.size() + 1);
        EXPECT_EQ(ran({"-enumdir", folder.at(""), "-stats"}, [] {}).err.find("unfinished"), std::string::npos);
        std::filesystem::remove(folder.at("report"));
        EXPECT_EQ(run_prepared(with(sample_log, {"-out", out}),
                               [] {
                                   ::signal(SIGHUP, SIG_IGN);
                                   injected.at_work = [] { ::raise(SIGHUP); };
                               })
                      .status,
                  0);
        EXPECT_TRUE(contents_of(out).starts_with("kest - "));
    }
    EXPECT_EQ(files(), (names{"new", "out"}));
}

// Which attribute it is that grows stands in its file record only.
TEST_F(run_faults, a_second_look_into_the_mft_that_fails_is_reported) {
    const memory_file mft(mft_image(
        {{.number = 0}, {.attributes = {name_image{}.attribute(), resident(0x80, bytes(5), {.name = u"s"})}}}, 41));
    const auto sizes = [](u64 real) { return pack(u64{4096}, real, real); };
    const memory_file log(log_of_pages({{.lsn = 0x2000,
                                         .redo_op = 11,
                                         .undo_op = 11,
                                         .record_offset = 168,
                                         .block_size = 2,
                                         .vcn = 10,
                                         .redo = sizes(20),
                                         .undo = sizes(10)}}));
    const argument_list args = {"-log", log.path(), "-mftfile", mft.path(), "-events", "-jsonl", "-quiet"};
    for (const off_t unreadable : {off_t{-1}, off_t{40 * 1024}}) {
        const ended_run ended = run_prepared(args, [&] { injected.unreadable = unreadable; });
        EXPECT_EQ(ended.err, unreadable == -1 ? "" : "prob reading file: " + mft.path() + '\n');
        EXPECT_EQ(ended.status, unreadable == -1 ? 0 : 255);
    }
}

TEST_F(run_faults, inputs_leave_no_trace_and_a_path_forges_no_line) {
    const std::string odd = folder.put("in/a\nb\rc", contents_of(samples + "/LogFile"));
    const timespec old[] = {{1'000'000'000, 0}, {1'500'000'000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, odd.c_str(), old, 0), 0);
    for (const char* form : {"-csv", "-no_whitespace"}) {
        const argument_list args = {"-enumdir", folder.at("in"), "-quiet", "-stats", form, "-filter_sig", "52535452"};
        EXPECT_EQ(ran(args, [] {}).status, 0);
        EXPECT_NE(report.find("/a[LF]b[CR]c"), std::string::npos) << report;
    }
    struct stat about {};
    ::stat(odd.c_str(), &about);
    EXPECT_EQ(about.st_atim.tv_sec, old[0].tv_sec);
}

}  // namespace
}  // namespace kest::disk
