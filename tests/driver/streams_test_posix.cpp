// What the program makes of links, pipes, times of files and terminals.

#include <pty.h>
#include <sys/stat.h>
#include <thread>

#include "support/prepared_run.h"

namespace kest::disk {
namespace {

constexpr const char* sample_log = KEST_SAMPLES "/LogFile";

// The files that a run over a list wants to read, if that arrives in two parts.
argument_list tried(const std::string& input) {
    int ends[2];
    EXPECT_EQ(::pipe(ends), 0);
    std::thread writer([&] {
        uni::file out;
        out.attach(ends[1]);
        EXPECT_TRUE(out.append(input.substr(0, input.size() / 2)));
        ::usleep(1000);
        EXPECT_TRUE(out.append(input.substr(input.size() / 2)));
        ::close(ends[1]);
    });
    const argument_list files = tried(run_captured({"-pipe"}, "/proc/self/fd/" + std::to_string(ends[0])));
    writer.join();
    ::close(ends[0]);
    return files;
}

TEST(list, kept_a_long_line_arrives_in_pieces) {
    using namespace std::string_literals;
    const std::string longest(4094, 'x');  // 4095 with its line feed
    const std::pair<std::string, argument_list> rows[] = {
        {"", {}},
        {"a\r\n\nb\n c \r\r\nd\re", {"a", "b", " c ", "d\re"}},
        {"a\r\0b\nc\n\0\n"s, {"a", "c"}},
        {longest + "\nb\n", {longest, "b"}},
        {longest + "x\nb\n", {longest + "x", "b"}},
        {longest + "xyz", {longest + "x", "yz"}},
    };
    for (const auto& [input, files] : rows)
        EXPECT_EQ(tried(input), files);
}

TEST(folder, is_walked_breadth_first_down_to_a_depth) {
    const scratch_folder folder;
    for (const char* name : {"root/a", "root/one/b", "root/one/two/c", "elsewhere/e"})
        folder.put(name);
    const std::string root = folder.at("root");
    for (const auto& [to, name] : {std::pair{"../elsewhere", "/to_folder"}, {"one/b", "/to_b"}, {"none", "/to_none"}})
        std::filesystem::create_symlink(to, root + name);
    argument_list expected = {root + "/a", root + "/to_b"};
    for (const char depth : {'0', '1', '2'}) {
        argument_list found =
            tried(run_captured({"-enumdir", depth == '1' ? root + '/' : root, "-num_subdirs", std::string(1, depth)}));
        std::sort(found.begin(), found.begin() + std::min<std::ptrdiff_t>(2, std::ssize(found)));
        EXPECT_EQ(found, expected);
        expected.push_back(root + (depth == '0' ? "/one/b" : "/one/two/c"));
    }
    // The root itself may be a link.
    EXPECT_EQ(tried(run_captured({"-enumdir", root + "/to_folder"})), argument_list{root + "/to_folder/e"});
    for (const std::string& no_directory : {std::string(), root + "/none", root + "/a"})
        EXPECT_EQ(run_captured({"-enumdir", no_directory}).status, -1);
}

TEST(folder, has_no_file_whose_name_makes_a_line_except_as_ever) {
    const scratch_folder folder;
    folder.put("a\nb\u202E");
    for (const auto& [option, name] : {std::pair{"-base16", "a\nb\u202E"}, {"-events", "a[LF]b[0x202E]"}}) {
        const std::string err = run_captured({"-enumdir", folder.at(""), option}).err;
        EXPECT_NE(err.find(name), err.npos) << err;
    }
}

TEST(input, that_can_have_no_bytes_says_why) {
    const scratch_folder folder;
    std::filesystem::create_symlink("loop", folder.at("loop"));
    ASSERT_EQ(::mkfifo(folder.at("fifo").c_str(), 0600), 0);
    for (const auto& [name, why] : {std::pair{"loop", "too many links"}, {"fifo", "is a pipe or a socket"}}) {
        const captured_run ran = run_captured({"-log", folder.at(name), "-quiet", "-events"});
        EXPECT_EQ(ran.status, -1);
        EXPECT_EQ(ran.err, "prob parsing file: " + folder.at(name) + " (" + why + ")\n");
    }
}

constexpr time_t march_16 = 1'773'619'200;  // 2026-03-16 00:00:00
constexpr time_t day = 86'400;

TEST(filters, kept_time_bounds) {
    const scratch_folder folder;
    const std::string log = folder.put("log");
    using bound = const char*;
    const std::optional<bool> refused;
    // start and stop, one of them null; whether a file of these seconds is wanted: last read, last written
    const std::tuple<bound, bound, time_t, time_t, std::optional<bool>> rows[] = {
        {"2036-03-16", nullptr, 0, 0, false},
        {"2001-01-01", "2002-01-01", 951'782'400, 946'684'800, true},  // between its times; the change is now
        {nullptr, "2026-03-16", march_16 + day - 1, march_16 + 2 * day, true},
        {nullptr, "2026-03-16", march_16 + day, march_16 + day, false},
        {nullptr, "2026-03-16 ", march_16, march_16 + day, true},  // with a blank after it, midnight
        {nullptr, "2026-03-16 ", march_16 + 1, march_16 + day, false},
        {nullptr, "2026/3/16 01:00:00", march_16 + 3600, march_16 + day, true},
        {nullptr, "2026/3/16 01:00:00", march_16 + 3601, march_16 + day, false},
        {"2026-03-16 02:00:00", "2026-03-16 01:59:59", march_16 + day, march_16 + day, true},  // no stop
        {"2026-02-29", "2026-03-16 24:00:00", march_16 + day, march_16 + day, true},           // neither
        {"2026/03-16", nullptr, 0, 0, true},                                                   // "/" goes first
        {"20260316", nullptr, 0, 0, refused},
        {nullptr, " 12:00:00", 0, 0, refused},
    };
    for (const auto& [start, stop, read, written, expected] : rows) {
        const timespec times[] = {{read, 0}, {written, 0}};
        ASSERT_EQ(::utimensat(AT_FDCWD, log.c_str(), times, 0), 0);
        argument_list args;
        if (start != nullptr) args.insert(args.end(), {"-cmd_start_time", start});
        if (stop != nullptr) args.insert(args.end(), {"-cmd_stop_time", stop});
        EXPECT_EQ(wanted(log, args), expected) << ::testing::PrintToString(args);
        EXPECT_EQ(wanted(log + "\\/", args), expected) << "as opening sees it";
    }
    EXPECT_EQ(wanted(folder.at("missing"), {"-cmd_stop_time", "2036-03-16"}), false);
}

// What a run says on a terminal.
std::string said_on_terminal(const argument_list& args) {
    int leader = -1, follower = -1;
    EXPECT_EQ(::openpty(&leader, &follower, nullptr, nullptr, nullptr), 0);
    run_prepared(args, [follower] { ::dup2(follower, STDERR_FILENO); });
    ::close(follower);  // so that a read fails after the last byte; one read need not bring all
    std::string text;
    char part[4096];
    for (ssize_t got = 0; (got = ::read(leader, part, sizeof part)) > 0;)
        text.append(part, static_cast<std::size_t>(got));
    ::close(leader);
    return text;
}

TEST(terminal, is_given_hints) {
    int ends[2];
    if (::openpty(&ends[0], &ends[1], nullptr, nullptr, nullptr) != 0) GTEST_SKIP() << "no pseudo terminal";
    ::close(ends[0]);
    ::close(ends[1]);
    const std::string mft = KEST_SAMPLES "/MFT", other = KEST_SAMPLES "/UsnJrnl_J";
    argument_list slips = {"-log", sample_log, "-mftfiel", mft, "-mftfile", other, "-stats"};
    EXPECT_EQ(said_on_terminal(slips).find("ignored: -mftfiel " + mft + "\r\nlooks like a change journal: -mftfile " +
                                           other + "\r\nprob"),
              0U);
    slips.push_back("-quiet");
    EXPECT_EQ(said_on_terminal(slips).substr(0, 4), "prob");
    const bytes file = file_record{.number = 40}.image();
    const memory_file small(
        log_of_pages({{.lsn = 8, .redo_op = 2, .block_size = 2, .vcn = 40, .redo = part(file, 0, 200)}}));
    for (const char* option : {"-base16", "-events", "-quiet"}) {
        const std::string said = said_on_terminal({option, "-log", small.path()});
        EXPECT_EQ(said.find("clusters of 1024 bytes") != std::string::npos, option == std::string("-base16"));
    }
}

TEST(screen, has_few_columns_and_colours) {
    int leader = -1, follower = -1;
    if (::openpty(&leader, &follower, nullptr, nullptr, nullptr) != 0) GTEST_SKIP() << "no pseudo terminal";
    const auto shown = [&](const argument_list& more, const char* colours) {
        ::setenv("NO_COLOR", colours, 1);
        argument_list args = {"kest", "-log", sample_log, "-events", "-event", "moved", "-inode", "45", "-quiet"};
        args.insert(args.end(), more.begin(), more.end());
        {
            const redirected out(STDOUT_FILENO, ::ttyname(follower));
            run(args);
        }
        ::unsetenv("NO_COLOR");
        std::string text(1 << 16, '\0');
        text.resize(static_cast<std::size_t>(std::max<ssize_t>(::read(leader, text.data(), text.size()), 0)));
        return text;
    };
    const std::string plain =
        "time                     clock       event                  state   path\r\n"
        "2026-03-16 09:11:13.388  journal     moved                  done    <unk_path>\\bundle.zip -> "
        "<unk_path>\\holiday.jpg\r\n";
    EXPECT_NE(shown({}, "1").find(plain), std::string::npos);
    EXPECT_NE(shown({}, "").find("journal     \x1b[36mmoved "), std::string::npos);
    EXPECT_NE(shown({"-columns", "event,lsn"}, "").find("event                    | lsn"), std::string::npos);
    EXPECT_TRUE(shown({"-csv"}, "").starts_with("time,not_after,"));
    ::close(leader);
    ::close(follower);
}

TEST(screen, shows_no_path_of_the_command_line_as_it_stands) {
    const scratch_folder folder;
    folder.put("\x1b[31m", contents_of(sample_log));
    for (const argument_list& form : {argument_list{"-events"}, {"-coverage"}, {"-extents"}, {"-jsonl"}}) {
        argument_list args = {"-quiet", "-enumdir", folder.at("")};
        args.insert(args.end(), form.begin(), form.end());
        const std::string report = run_captured(args).out;
        EXPECT_NE(report.find("[31m"), report.npos) << form[0];
        EXPECT_EQ(report.find('\x1b'), report.npos) << form[0];
    }
}

}  // namespace
}  // namespace kest::disk
