// Evidence made to cost more than it weighs. Each run is a process of its own, with bounds on what it may spend.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include "driver/run.h"
#include "support/hostile.h"
#include "support/memory_file.h"
#include "support/scratch_folder.h"
#include "support/usn_image.h"

namespace kest {
namespace {

using disk::bytes;
using disk::memory_file;
namespace hostile = disk::hostile;

// What is not bounded takes hours, or does not end. Sanitizers keep what was freed for a while.
constexpr rlim_t most_seconds = 40;
#if defined __SANITIZE_ADDRESS__ || defined __SANITIZE_THREAD__
constexpr long most_memory = 2048;  // MiB
#else
constexpr long most_memory = 512;  // MiB
#endif

constexpr std::uint64_t late_lsn = 0x0800'0000;  // later than any file record

struct spent {
    bool ended;             // by itself, with status 0 or 255
    long memory;            // MiB at most
    std::size_t lines;      // of the report
    std::uintmax_t report;  // bytes
};

std::size_t lines_of(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::size_t lines = 0;
    for (std::string line; std::getline(file, line);)
        ++lines;
    return lines;
}

spent run_within_bounds(const argument_list& inputs) {
    const disk::scratch_folder folder;
    argument_list args = {"kest", "-quiet", "-csv", "-no_whitespace", "-showall_inodes", "-out", folder.at("report")};
    args.insert(args.end(), inputs.begin(), inputs.end());
    const pid_t child = ::fork();
    if (child == 0) {
        const rlimit seconds{most_seconds, most_seconds};
        ::setrlimit(RLIMIT_CPU, &seconds);
        ::_exit(run(args) & 0xFF);
    }
    int status = 0;
    rusage usage{};
    ::wait4(child, &status, 0, &usage);
    const bool ended = WIFEXITED(status) && (WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == 255);
    return {ended, usage.ru_maxrss / 1024, lines_of(folder.at("report")),
            std::filesystem::file_size(folder.at("report"))};
}

// Besides the rows a report has four lines.
void expect_bounded(const spent& cost, std::size_t rows, std::uintmax_t most_report) {
    EXPECT_TRUE(cost.ended);
    EXPECT_LE(cost.memory, most_memory);
    EXPECT_EQ(cost.lines, rows + 4);
    EXPECT_LE(cost.report, most_report);
}

TEST(hostile_evidence, logs_cost_what_they_weigh) {
    constexpr std::size_t many = 20'000;
    const struct {
        const char* what;
        bytes log;
        std::size_t rows;
        std::uintmax_t text_per_byte;
    } rows[] = {
        {"heads that share a tail", hostile::chains_that_share_a_tail(many), 3 * many, 1},
        {"records that name themselves", hostile::records_that_name_themselves(many), 2, 1},
        {"attributes of one byte", hostile::log_of_one(2, hostile::record_of_attributes(0, 1)), 2, 1},
        {"ten thousand attributes", hostile::log_of_one(2, hostile::record_of_attributes(0, 6)), 2, 1},
        {"attributes of a header alone", hostile::log_of_one(2, hostile::record_of_attributes(0x80, 24)), 2, 2},
        {"attributes shorter than a header", hostile::log_of_one(2, hostile::record_of_attributes(0x80, 8)), 2, 1},
        {"lists in one another", hostile::log_of_one(2, hostile::record_of_attributes(0x20, 64)), 2, 2},
        {"index entries of length 1", hostile::log_of_one(12, hostile::index_entries(1, 70)), 2, 1},
        {"index entries of a header alone", hostile::log_of_one(12, hostile::index_entries(16, 70)), 2, 4},
    };
    for (const auto& t : rows) {
        SCOPED_TRACE(t.what);
        const memory_file log(t.log);
        expect_bounded(run_within_bounds({"-log", log.path()}), t.rows, 1000 + t.text_per_byte * t.log.size());
    }
}

TEST(hostile_evidence, mfts_cost_what_they_weigh) {
    constexpr std::uint32_t many = 8192;
    const memory_file log(hostile::log_of({{.lsn = late_lsn}, {.lsn = late_lsn + 1, .previous = late_lsn}}));
    const std::pair<const char*, bytes> rows[] = {
        {"folders in a circle", hostile::mft_of_folders(many, 0, 255)},
        {"folders very deep", hostile::mft_of_folders(many, 5, 255)},
        {"folders that lead into a circle", hostile::mft_of_folders(many, many / 2, 8)},
        {"lists that fan out", hostile::mft_of_lists(many)},
        {"lists of petabytes", hostile::mft_of_claims(many, 0x20)},
        {"lists all over the MFT", hostile::mft_of_outer_lists(many)},
        {"indexes of petabytes", hostile::mft_of_claims(many, 0xA0)},
    };
    for (const auto& [what, image] : rows) {
        SCOPED_TRACE(what);
        const memory_file mft(image);
        expect_bounded(run_within_bounds({"-log", log.path(), "-mftfile", mft.path()}), many + 2, 160u << 20);
    }
}

// A file system that holds what stands at the beginning and at the end, and claims the rest.
TEST(hostile_evidence, holes_cost_nothing) {
    constexpr std::uint64_t claimed = std::uint64_t{1} << 42;
    const bytes pages = hostile::log_of({{.lsn = late_lsn}, {.lsn = late_lsn + 1, .previous = late_lsn}});
    const memory_file log(pages), log_with_holes(pages, claimed);
    const memory_file mft(hostile::mft_of_folders(16, 5, 1), claimed);
    const memory_file journal(disk::usn_image{}.image(), claimed);
    expect_bounded(run_within_bounds({"-log", log_with_holes.path()}), 2, 4096);
    expect_bounded(run_within_bounds({"-log", log.path(), "-mftfile", mft.path()}), 2 + 16, 8192);
    expect_bounded(run_within_bounds({"-log", log.path(), "-jrnlfile", journal.path()}), 2, 4096);
}

}  // namespace
}  // namespace kest
