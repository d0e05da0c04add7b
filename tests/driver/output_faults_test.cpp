// What goes wrong outside: disks that fill, readers that go away, inputs that cannot be read or change under the run.

#include <atomic>
#include <csignal>
#include <functional>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>

#include "support/captured_run.h"

namespace kest {
namespace {

using disk::contents_of;
using disk::run_captured;
using disk::scratch_folder;

const std::string samples = KEST_SAMPLES;

// A run of which the report is far larger than any buffer.
const argument_list whole_run = {"-log",           samples + "/LogFile", "-mftfile",
                                 samples + "/MFT", "-showall_inodes",    "-quiet"};

argument_list with(argument_list args, std::initializer_list<std::string> more) {
    args.insert(args.end(), more);
    return args;
}

// The status and the standard error stream of a run in a process of its own, which `prepare` makes ready.
struct ended {
    int status;
    std::string err;
};
ended run_prepared(const argument_list& args, const std::function<void()>& prepare) {
    const scratch_folder folder;
    const std::string err = folder.put("err");
    const pid_t child = ::fork();
    if (child == 0) {
        const int err_file = ::open(err.c_str(), O_WRONLY);
        prepare();
        ::dup2(err_file, STDERR_FILENO);
        argument_list all = {"kest"};
        all.insert(all.end(), args.begin(), args.end());
        ::_exit(run(all) & 0xFF);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contents_of(err)};
}

void expect_told(const ended& result, const std::string& target) {
    EXPECT_EQ(result.status, 255);
    EXPECT_TRUE(result.err.ends_with("prob writing results file: " + target + "\n")) << result.status << result.err;
}

TEST(output_faults, a_disk_that_fills_on_the_way_is_told_of) {
    const scratch_folder folder;
    const std::string report = folder.at("report");
    const auto limited = [] {
        const rlimit bytes{100'000, 100'000};
        ::setrlimit(RLIMIT_FSIZE, &bytes);
        ::signal(SIGXFSZ, SIG_IGN);
    };
    expect_told(run_prepared(with(whole_run, {"-out", report}), limited), report);
    EXPECT_EQ(std::filesystem::file_size(report), 100'000u);  // as much as there was room for
}

TEST(output_faults, a_small_file_system_that_fills_is_told_of) {
    const scratch_folder folder;
    const std::string report = folder.at("report");
    constexpr int no_mount = 77;
    const auto mounted = [&folder] {
        const std::string user = std::to_string(::geteuid()), group = std::to_string(::getegid());
        if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) ::_exit(no_mount);
        std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
        if (::mount("tmpfs", folder.at("").c_str(), "tmpfs", 0, "size=64k") != 0) ::_exit(no_mount);
    };
    const ended result = run_prepared(with(whole_run, {"-out", report}), mounted);
    if (result.status == no_mount) GTEST_SKIP() << "mounting is not allowed here";
    expect_told(result, report);
}

TEST(output_faults, a_reader_that_goes_away_is_told_of) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    std::thread reader([&ends] {
        char some[100];
        EXPECT_GT(::read(ends[0], some, sizeof some), 0);
        ::close(ends[0]);
    });
    const ended result = run_prepared(whole_run, [&ends] {
        ::dup2(ends[1], STDOUT_FILENO);
        ::close(ends[0]);  // the reader's alone
        ::close(ends[1]);
    });
    ::close(ends[1]);
    reader.join();
    expect_told(result, "standard output");
}

TEST(output_faults, nobody_to_tell_is_no_fault) {
    const scratch_folder folder;
    const int full = ::open("/dev/full", O_WRONLY);
    {
        const disk::redirected err_stream(STDERR_FILENO, full);
        EXPECT_EQ(run(with({"kest", "-log", samples + "/LogFile"}, {"-out", folder.at("report")})), 0);
    }
    ::close(full);
    EXPECT_GT(std::filesystem::file_size(folder.at("report")), 10'000u);
}

TEST(output_faults, what_cannot_be_written_is_refused) {
    for (const char* target : {"/proc/no_such_file", "/", "/dev/null/report"}) {
        const ended result = run_prepared(with(whole_run, {"-out", target}), [] {});
        EXPECT_EQ(result.status, 255) << target;
        EXPECT_TRUE(result.err.starts_with("prob opening file " + std::string(target) + " for output, aborting\n"))
            << target << result.err;
    }
}

// Whatever name an input goes by as an output, it is not even opened for writing.
TEST(output_faults, evidence_is_not_written) {
    const scratch_folder folder;
    const std::string log = folder.put("log", contents_of(samples + "/LogFile"));
    const std::string mft = folder.put("mft", contents_of(samples + "/MFT"));
    const std::string journal = folder.put("journal", contents_of(samples + "/UsnJrnl_J"));
    const argument_list inputs = {"-log", log, "-mftfile", mft, "-jrnlfile", journal, "-quiet"};
    for (const std::string& input : {log, mft, journal}) {
        std::filesystem::create_hard_link(input, folder.at("hard"));
        std::filesystem::create_symlink(input, folder.at("soft"));
        const std::string before = contents_of(input);
        const auto touched = std::filesystem::last_write_time(input);
        const std::string base = input.substr(input.rfind('/') + 1);
        for (const std::string& name : {input, folder.at("./" + base), folder.at("x/../" + base), input + "/",
                                        input + "\\", folder.at("hard"), folder.at("soft")}) {
            std::filesystem::create_directory(folder.at("x"));
            EXPECT_EQ(run_captured(with(inputs, {"-out", name})).status, -1) << name;
            run_captured(with({"-diags", name, "-l2"}, {"-log", log, "-mftfile", mft, "-jrnlfile", journal, "-quiet"}));
            EXPECT_EQ(contents_of(input), before) << name;
            EXPECT_EQ(std::filesystem::last_write_time(input), touched) << name;
        }
        std::filesystem::remove(folder.at("hard"));
        std::filesystem::remove(folder.at("soft"));
    }
}

TEST(output_faults, a_list_goes_on_behind_what_cannot_be_read) {
    const scratch_folder folder;
    const std::string log = folder.put("log", contents_of(samples + "/LogFile"));
    const std::string fifo = folder.at("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const std::string bad[] = {folder.at("missing"), folder.at(""), fifo, log + "/in it", "/proc/self/mem"};
    std::string list;
    for (const std::string& path : bad)
        list += path + "\n" + log + "\n";
    const disk::captured_run result = run_captured({"-pipe", "-stats", "-csv"}, folder.put("list", list));
    EXPECT_EQ(result.status, 0);
    for (const std::string& path : bad)
        EXPECT_NE(result.err.find("prob parsing file: " + path + "\n"), std::string::npos) << path;
    std::size_t rows = 0;
    for (std::size_t at = result.out.find(log); at != std::string::npos; at = result.out.find(log, at + 1))
        ++rows;
    EXPECT_EQ(rows, std::size(bad));
}

// The inputs are cut to some length and made whole again all the while.
TEST(output_faults, inputs_that_change_under_a_run_do_not_stop_it) {
    const scratch_folder folder;
    constexpr const char* names[] = {"LogFile", "MFT", "UsnJrnl_J"};
    for (const char* name : names)
        folder.put(name, contents_of(samples + "/" + name));
    std::atomic<bool> done = false;
    std::thread changer([&] {
        for (off_t turn = 1; !done; ++turn) {
            for (const char* name : names) {
                EXPECT_EQ(::truncate(folder.at(name).c_str(), turn * 7919 % 65'536), 0);
                folder.put(name, contents_of(samples + "/" + name));
            }
        }
    });
    unsigned whole = 0;
    for (unsigned runs = 0; runs < 300; ++runs) {
        const int status = run_captured({"-log", folder.at(names[0]), "-mftfile", folder.at(names[1]), "-jrnlfile",
                                         folder.at(names[2]), "-quiet"})
                               .status;
        EXPECT_TRUE(status == 0 || status == -1) << status;
        whole += status == 0;
    }
    done = true;
    changer.join();
    EXPECT_GT(whole, 0u);
}

}  // namespace
}  // namespace kest
