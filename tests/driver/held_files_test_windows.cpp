// Files that other programs have open, and names by which Windows knows a file.

#include <windows.h>
#include <array>

#include "support/made_run.h"

namespace kest::disk {
namespace {

const bytes image = log_of_pages({{.lsn = 8}});
const std::string evidence(image.begin(), image.end());

// A file that another program has open, and what it lets others do.
class held_file {
public:
    held_file(const std::string& path, DWORD access, DWORD shared)
        : m_handle(::CreateFileA(path.c_str(), access, shared, nullptr, OPEN_EXISTING, 0, nullptr)) {
        EXPECT_NE(m_handle, INVALID_HANDLE_VALUE);
    }
    ~held_file() { ::CloseHandle(m_handle); }
    held_file(const held_file&) = delete;
    held_file& operator=(const held_file&) = delete;

private:
    HANDLE m_handle;
};

TEST(held_file, is_replaced_whole_or_left_as_it_was) {
    const scratch_folder folder;
    const std::string log = folder.put("log", evidence), report = folder.at("report");
    const std::tuple<DWORD, DWORD, bool> rows[] = {
        {GENERIC_READ, FILE_SHARE_READ, false},
        {GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, false},
        {GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, true},
        {GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, true},
    };
    run_captured({"-log", log, "-events", "-jsonl", "-quiet", "-out", report});
    const std::string expected = contents_of(report);
    for (const auto& [access, shared, replaced] : rows) {
        folder.put("report", "as it was, and longer than what comes in its place" + expected);
        const std::string before = contents_of(report);
        const held_file held(report, access, shared);
        const captured_run ran = run_captured({"-log", log, "-events", "-jsonl", "-quiet", "-out", report});
        EXPECT_EQ(ran.status, replaced ? 0 : -1) << shared;
        EXPECT_EQ(ran.err, replaced ? "" : "prob opening file " + report + " for output, aborting (in use)\n");
        EXPECT_EQ(contents_of(report), replaced ? expected : before) << shared;
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.at("")), {}), 2);  // nothing stands beside
}

TEST(held_file, is_read_where_its_owner_lets_others) {
    const scratch_folder folder;
    const std::string log = folder.put("log", evidence);
    for (const DWORD shared : {FILE_SHARE_READ, FILE_SHARE_WRITE}) {
        const held_file held(log, GENERIC_READ | GENERIC_WRITE, shared);
        const captured_run ran = run_captured({"-log", log, "-events", "-jsonl", "-quiet"});
        const bool read = shared == FILE_SHARE_READ;
        EXPECT_EQ(ran.status, read ? 0 : -1);
        EXPECT_EQ(ran.err, read ? "" : "prob parsing file: " + log + " (in use)\n");
    }
}

TEST(list, a_path_may_have_as_many_bytes_as_the_system_opens) {
    const scratch_folder folder;
    const std::string longest(20'000, 'x');
    EXPECT_EQ(tried(run_captured({"-pipe"}, folder.put("list", longest + "\nb\n"))), (argument_list{longest, "b"}));
}

TEST(evidence, is_not_written_by_any_name) {
    const scratch_folder folder;
    const std::string log = folder.put("A long name of a log", evidence), linked = folder.at("link");
    std::filesystem::create_hard_link(log, linked);
    std::array<char, MAX_PATH> short_name{};
    EXPECT_NE(::GetShortPathNameA(log.c_str(), short_name.data(), MAX_PATH), 0u);
    std::string verbatim = "\\\\?\\" + log;
    std::ranges::replace(verbatim, '/', '\\');
    for (const std::string& name : {folder.at("A LONG name of A log"), linked, std::string(short_name.data()), verbatim,
                                    log + '.', log + ' ', log + "\\", log + ":stream", log + "::$DATA"}) {
        for (const char* const option : {"-out", "-page", "-db", "-diags"}) {
            run_captured({"-log", log, "-events", "-quiet", option, name});
            EXPECT_EQ(contents_of(log), evidence) << option << ' ' << name;
            EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.at("")), {}), 2)
                << option << ' ' << name;
        }
    }
}

}  // namespace
}  // namespace kest::disk
