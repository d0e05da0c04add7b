#include "report/report.h"

#include <gtest/gtest.h>
#include <sstream>

#include "logfile/scanner.h"
#include "support/log_image.h"
#include "support/scratch_folder.h"
#include "support/usn_image.h"

namespace kest {
namespace {

using disk::record;
using rows = std::vector<std::string>;

constexpr std::uint64_t noon = 130'000'000'000'000'000;  // 2012-12-14 23:06:40

// Runs the report loop over a log of one page and shows of each row what the loop decides on.
class report_test : public testing::Test {
protected:
    report_test() {
        m_options.time_format = cv::compile_format("yyyy-mm-dd", "hh:mm:ss", true);
        m_options.show_progress = false;
        m_options.no_whitespace = true;
        m_options.separator = "|";
    }

    void scan(const std::vector<record>& records) {
        const disk::bytes log = disk::log_image{}.page({.last_lsn = 1000, .records = records}).image();
        scan_buffer(m_options.log, std::span(log));
    }

    // "time of day|ref|action|level|op_pattern|inode|path" of each row; the header line is not shown.
    rows report() {
        const disk::scratch_folder folder;
        uni::file file;
        EXPECT_TRUE(file.open(folder.at("report"), uni::open_mode::create_truncate));
        uni::fileio_output sink(file);
        report_entries(m_options, sink);
        EXPECT_TRUE(sink.flush());
        rows all;
        std::ifstream text(folder.at("report"));
        std::string line;
        for (std::getline(text, line); std::getline(text, line);) {
            rows cells;
            std::istringstream cut(line + "|");
            for (std::string cell; std::getline(cut, cell, '|');)
                cells.push_back(cell);
            EXPECT_EQ(cells.size(), 14U) << line;
            all.push_back(cells[0].empty() ? "" : cells[0].substr(11, 8));
            for (const std::size_t shown : {1u, 2u, 4u, 5u, 8u, 12u})
                all.back() += '|' + cells[shown];
        }
        return all;
    }

    void add_mft_record(std::uint64_t inode, std::uint64_t lsn, std::uint64_t usn, std::uint64_t time) {
        inode_record r{.inode = inode, .sequence = 1, .is_base = true, .name = "f", .lsn = lsn, .usn = usn};
        r.si_times.modified = time;
        r.parents.insert({5, 5});
        bool known = false;
        const auto position = static_cast<std::uint32_t>(add_inode_record(m_options, r, known));
        index_mft_record(m_options.mft, r, position, inode);
        m_options.mft.seal();
    }

    logfile_options m_options;
};

disk::bytes journal_record(std::uint64_t time, std::uint32_t reason) {
    return disk::usn_image{.file = 0x0001'0000'0000'0032, .time = time, .reason = reason}.image();
}

TEST_F(report_test, names_events_by_the_redo_operation) {
    scan({{.lsn = 10, .redo_op = 2},
          {.lsn = 11, .previous = 10, .redo_op = 3},
          {.lsn = 12, .previous = 11, .redo_op = 9},
          {.lsn = 13, .previous = 12, .redo_op = 27},
          {.lsn = 20, .previous = 19, .redo_op = 2}});
    EXPECT_EQ(report(), (rows{"|| file_created|root|02-03-09-1b||", "|| file_deleted|..sub-op|-- 0x03||",
                              "||changing_allocated_space|..sub-op|-- 0x09||", "|||..sub-op|-- 0x1b||"}))
        << "the record that no head reaches has no row";
}

TEST_F(report_test, a_members_journal_record_speaks_for_the_chain) {
    scan({{.lsn = 10, .redo_op = 2},
          {.lsn = 11, .previous = 10, .redo_op = 8, .redo = journal_record(noon, 0x100)},
          {.lsn = 12, .previous = 11, .redo_op = 8, .redo = journal_record(noon - 36'000'000'000, 0x200)},
          {.lsn = 13, .previous = 12, .redo_op = 27},
          {.lsn = 20, .redo_op = 3}});
    EXPECT_EQ(report(), (rows{"22:06:40||file_deleted|root|02-08-08-1b||",
                              "22:06:40||file_deleted|..sub-op|-- 0x08|0x32|<unk_path>\\a.txt",
                              "22:06:40|<- usnjrnl|file_deleted|..sub-op|-- 0x08|0x32|<unk_path>\\a.txt",
                              "22:06:40||file_deleted|..sub-op|-- 0x1b||", "22:06:40|| file_deleted|root|03||"}))
        << "the later record overrides, and the earlier time holds on";
}

TEST_F(report_test, kept_a_head_with_a_journal_record_shows_its_time_and_no_reason) {
    scan({{.lsn = 10, .redo_op = 8, .redo = journal_record(noon, 0x100)}, {.lsn = 11, .previous = 10, .redo_op = 9}});
    EXPECT_EQ(report(), (rows{"23:06:40|||root|08-09|0x32|<unk_path>\\a.txt",
                              "23:06:40||changing_allocated_space|..sub-op|-- 0x09||"}));
}

TEST_F(report_test, visits_mft_records_in_lsn_order) {
    add_mft_record(60, 5, 0, noon);
    add_mft_record(61, 10, 0, noon + 600'000'000);
    add_mft_record(62, 12, 0, noon + 1'200'000'000);
    add_mft_record(63, 90, 0, noon + 36'000'000'000);
    scan({{.lsn = 10, .redo_op = 9}, {.lsn = 20, .previous = 10, .redo_op = 9}});
    const rows plain = {"23:07:40||changing_allocated_space|root|09-09|0x3D|",
                        "23:08:40||changing_allocated_space|..sub-op|-- 0x09||"};
    EXPECT_EQ(report(), plain)
        << "older records raise the time, an equal LSN gives the inode, later ones count for nothing";

    m_options.header_line = true;
    m_options.columns.clear();
    m_options.showall_inodes = true;
    EXPECT_EQ(report(), (rows{"23:06:40|||mft||0x3C|", plain[0], "23:08:40|||mft||0x3E|", plain[1]}));
}

TEST_F(report_test, an_mft_record_leads_to_the_journal_file) {
    add_mft_record(61, 11, 0x500, noon);
    m_options.journal.entries.push_back(
        {.valid = true, .usn = 0x500, .time = noon - 600'000'000, .reason = 0x80000100});
    m_options.journal.journal_by_usn.add(0x500, 0);
    scan({{.lsn = 10, .redo_op = 2}, {.lsn = 11, .previous = 10, .redo_op = 9}});
    EXPECT_EQ(report(),
              (rows{"23:05:40||file_created|root|02-09||", "23:05:40|<- usnjrnl|file_created|..sub-op|-- 0x09|0x3D|"}))
        << "the close bit has no word here";
}

}  // namespace
}  // namespace kest
