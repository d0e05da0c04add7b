// Many volumes in one run, as collectors lay them out: found, brought together, and each as by itself.

#include <filesystem>

#include "images/container.h"
#include "support/made_run.h"
#include "support/volume_image.h"

namespace kest::disk {
namespace {

std::string sample(const char* name) {
    return contents_of(std::string(KEST_SAMPLES "/") + name);
}
const std::string log_file = sample("LogFile"), mft_file = sample("MFT"), journal_file = sample("UsnJrnl_J");

std::string text_of(const bytes& image) {
    return {image.begin(), image.end()};
}

// A journal and an MFT of no volume here.
const std::string foreign_journal = text_of(pack(bytes(4096), usn_image{.usn = 0x7000'0000}.image(), at{9000}));
std::string foreign_mft() {
    std::vector<file_record> records;
    for (u32 number = 0; number < 64; ++number)
        records.push_back({.number = number, .lsn = 0x7000'0000});
    return text_of(mft_image(records, 64));
}

argument_list with(argument_list args, const argument_list& more) {
    args.insert(args.end(), more.begin(), more.end());
    return args;
}

const argument_list of_files = {"-quiet", "-events", "-jsonl", "-columns", "time,event,path,details"};

// The report on the sample as three files.
std::string expected(const argument_list& more) {
    static std::map<argument_list, std::string> known;
    std::string& text = known[more];
    if (text.empty()) text = run_captured(with(more, of_files)).out;
    return text;
}
const argument_list log_given = {"-log", KEST_SAMPLES "/LogFile"}, mft_given = {"-mftfile", KEST_SAMPLES "/MFT"},
                    journal_given = {"-jrnlfile", KEST_SAMPLES "/UsnJrnl_J"};
const argument_list all_given = with(log_given, with(mft_given, journal_given));

class one_case : public ::testing::Test {
protected:
    captured_run run(const argument_list& more) const { return run_captured(with({"-case", m_folder.at("c")}, more)); }
    void put(const std::string& name, const std::string& contents) const { m_folder.put("c/" + name, contents); }
    // What `-list` calls the sets, in order.
    std::string names() const { return run({"-list", "-columns", "volume", "-csv", "-quiet"}).out; }

    const scratch_folder m_folder;
};

TEST_F(one_case, has_its_sets_where_collectors_put_them) {
    struct layout {
        std::string name, log, mft, journal;
    };
    const layout layouts[] = {
        {"a/C", "a/C/$LogFile", "a/C/$MFT", "a/C/$Extend/$J"},
        {"b/uploads/auto/C%3A", "b/uploads/auto/C%3A/$LogFile", "b/uploads/ntfs/%5C%5C.%5CC%3A/$MFT",
         "b/uploads/ntfs/%5C%5C.%5CC%3A/$Extend/$UsnJrnl%3A$J"},
        {"c/ntfs/log", "c/ntfs/log/x.bin", "c/ntfs/y.bin", "c/ntfs/$Extend/z.bin"},
        {"d", "d/host_C.log", "d/host_C.mft", "d/host_C.usn"},
    };
    std::string all = "volume\n", joined;
    for (const layout& t : layouts) {
        put(t.log, log_file);
        put(t.mft, mft_file);
        put(t.journal, journal_file);
        all += t.name + '\n';
        joined += expected(all_given);
    }
    put("d/notes.txt", std::string(90'000, 'x'));
    put("d/$Boot", text_of(part(volume_image{}.boot(), 0, 512)) + std::string(7680, '\0'));
    const volume_image volume{.log = bytes(log_file.begin(), log_file.end()),
                              .journal = bytes(journal_file.begin(), journal_file.end())};
    put("e/disk.dd", text_of(pack(partition_table({{63, 2401}}), at{63 * 512}, volume.image())));
    all += "e/disk.dd:1\n";
    const memory_file own_mft(volume.mft());
    joined += expected(with(log_given, with(journal_given, {"-mftfile", own_mft.path()})));
    EXPECT_EQ(names(), all);
    for (const char* jobs : {"1", "3"}) {
        const captured_run ran = run(with(of_files, {"-jobs", jobs}));
        EXPECT_EQ(ran.status, 0);
        EXPECT_EQ(ran.err, "");
        EXPECT_EQ(ran.out == joined, true) << jobs;
    }
    EXPECT_NE(run({"-events", "-bodyfile", "-quiet"}).out.find("\n0|b/uploads/auto/C%253A: [root]\\"),
              std::string::npos);
    for (const argument_list& form :
         {argument_list{"-csv", "-undo", "-cut"}, {"-coverage"}, {"-stats", "-csv"}, {"-events", "-csv"}}) {
        argument_list one = with(form, {"-quiet", "-jobs", "1"}), four = with(form, {"-quiet", "-jobs", "4"});
        std::string single = run(one).out, several = run(four).out;
        for (std::string* const text : {&single, &several})
            text->erase(0, text->find('\n', text->find("cmdline:") + 1));
        EXPECT_EQ(single == several, true) << form[0];
        for (const std::string_view name : {"b/uploads/auto/C%3A", "e/disk.dd"})
            EXPECT_NE(single.find(name), std::string::npos) << form[0];
    }
}

TEST_F(one_case, loses_no_more_than_what_fails) {
    struct failure {
        const char* what;
        std::vector<std::pair<std::string, std::string>> files;
        std::string said;  // part of it
        argument_list reported = {};
        int status = -1;
        argument_list at_end = {};  // reported after all others
    };
    m_folder.put("foreign", foreign_journal);
    const argument_list foreign_given = {"-jrnlfile", m_folder.at("foreign")};
    const std::string left = "does not fit the log: ";
    const failure rows[] = {
        {"a log of zeros", {{"b/$LogFile", std::string(65'536, '\0')}, {"b/$MFT", mft_file}}, "b/$LogFile (no record)"},
        {"no container",
         {{"b/x.E01", "EVF\x09\x0D\x0A\xFF" + std::string("\0\1\1\0", 4) + std::string(99, 'x')}},
         "x.E01"},
        {"an MFT of zeros",
         {{"b/$LogFile", log_file}, {"b/$MFT", std::string(8192, '\0')}},
         "(no file record)",
         log_given},
        {"a foreign MFT", {{"b/$LogFile", log_file}, {"b/$MFT", foreign_mft()}}, left, log_given, 0},
        {"a foreign journal",
         {{"b/$LogFile", log_file}, {"b/$MFT", mft_file}, {"b/$Extend/$J", foreign_journal}},
         left,
         with(log_given, mft_given),
         0,
         foreign_given},
        {"a log of zeros and a journal",
         {{"b/$LogFile", std::string(65'536, '\0')}, {"b/$MFT", mft_file}, {"b/$J", journal_file}},
         "b/$LogFile (no record; ",
         with(mft_given, journal_given)},
        {"a text that names a log", {{"b/n.vmdk", "# Disk DescriptorFile\nRW 9 FLAT \"../a/$LogFile\" 0\n"}}, "n.vmdk"},
        {"two of each",
         {{"b/$LogFile", log_file},
          {"b/0", foreign_mft() + std::string(65'536, '\0')},
          {"b/1", mft_file},
          {"b/2", foreign_journal},
          {"b/3", journal_file}},
         "",
         all_given,
         0,
         foreign_given},
        {"a journal by itself", {{"b/$J", journal_file}}, "", journal_given, 0},
        {"an MFT by itself", {{"b/$MFT", mft_file}}, "", {}, 0},
    };
    for (const failure& t : rows) {
        SCOPED_TRACE(t.what);
        for (const auto& [name, contents] : t.files)
            put(name, contents);
        put("a/$LogFile", log_file);
        put("c/$LogFile", log_file);
        const captured_run ran = run(with(of_files, {"-jobs", "2"}));
        const std::string middle = t.reported.empty() ? std::string() : expected(t.reported);
        const std::string end = t.at_end.empty() ? std::string() : expected(t.at_end);
        EXPECT_EQ(ran.status, t.status);
        EXPECT_EQ(ran.out == expected(log_given) + middle + expected(log_given) + end, true);
        EXPECT_EQ(ran.err.empty(), t.said.empty()) << ran.err;
        EXPECT_NE(ran.err.find(t.said), std::string::npos) << ran.err;
        std::filesystem::remove_all(m_folder.at("c"));
    }
}

TEST_F(one_case, has_each_file_once) {
    put("a/$LogFile", log_file);
    put("a/$MFT", mft_file);
    make_link("..", m_folder.at("c/a/up"));
    make_link("$LogFile", m_folder.at("c/a/again"));
    std::filesystem::create_hard_link(m_folder.at("c/a/$LogFile"), m_folder.at("c/a/third"));
    make_link("nowhere", m_folder.at("c/a/nothing"));
    put("0/x", "");
    make_link("../a/$LogFile", m_folder.at("c/0/y"));
    EXPECT_EQ(names(), "volume\na\n");
    put("b/$J", journal_file);
    put("b/$Extend/$J", journal_file);
    EXPECT_EQ(names(), "volume\na\nb/$Extend/$J\nb/$J\n");
}

TEST_F(one_case, finds_what_belongs_together_by_names_first) {
    for (const char* other : {"1", "2", "3", "4", "5", "6", "7", "8", "9"})
        put(std::string(other) + "_MFT", foreign_mft() + std::string(65'536, '\0'));
    put("h_LogFile", log_file);
    put("h_MFT", mft_file);
    EXPECT_EQ(run(of_files).out == expected(with(log_given, mft_given)), true);
}

// Whatever a text claims; and what a list says of a log is what a report does.
TEST_F(one_case, keeps_what_others_claim) {
    put("disk.dd", text_of(pack(partition_table({{63, 2401}}), at{63 * 512}, volume_image{}.image())));
    for (const char* sectors : {"1", "100"}) {
        put("n.vmdk",
            "# Disk DescriptorFile\nversion=1\nCID=12345678\nparentCID=ffffffff\n"
            "createType=\"monolithicFlat\"\nRW " +
                std::string(sectors) + " FLAT \"disk.dd\" 0\n");
        EXPECT_NE(names().find("disk.dd:1\n"), std::string::npos) << sectors;
    }
    std::filesystem::remove_all(m_folder.at("c"));
    for (char other = 'a'; other < 'k'; ++other)
        put(std::string(1, other) + "_MFT", foreign_mft());
    put("z/$LogFile", std::string(65'536, '\0'));
    put("y_LogFile", log_file);
    const captured_run ran = run({"-list", "-quiet"});
    EXPECT_EQ(ran.status, -1);
    EXPECT_NE(ran.err.find("z/$LogFile (no record)\n"), std::string::npos) << ran.err;
    EXPECT_NE(ran.err.find("not tried: 2 more MFTs that"), std::string::npos) << ran.err;
}

TEST_F(one_case, writes_no_evidence) {
    put("a/$LogFile", log_file);
    put("b/$LogFile", std::string(65'536, '\0'));  // nothing but its name says what it is
    const captured_run ran = run(with(of_files, {"-out", m_folder.at("c/b/$LogFile")}));
    EXPECT_EQ(ran.status, -1);
    EXPECT_NE(ran.err.find("being written by this run"), std::string::npos) << ran.err;
    EXPECT_EQ(contents_of(m_folder.at("c/b/$LogFile")), std::string(65'536, '\0'));
    if (!has_library(image_form::split)) return;
    const std::string disk = text_of(pack(partition_table({{63, 2401}}), at{63 * 512}, volume_image{}.image()));
    put("d/disk.001", disk.substr(0, 1'100'000));
    put("d/disk.002", disk.substr(1'100'000));
    const captured_run on_piece = run(with(of_files, {"-out", m_folder.at("c/d/disk.002")}));
    EXPECT_NE(on_piece.err.find("being written by this run"), std::string::npos) << on_piece.err;
    EXPECT_EQ(contents_of(m_folder.at("c/d/disk.002")) == disk.substr(1'100'000), true);
}

TEST_F(one_case, is_what_paths_without_an_option_name) {
    put("a/$LogFile", log_file);
    put("a/$MFT", mft_file);
    put("a/$Extend/$J", journal_file);
    put("b/$LogFile", log_file);
    put("e/$MFT", mft_file);
    const std::string a = m_folder.at("c/a/"), b = m_folder.at("c/b/$LogFile");
    const struct {
        argument_list paths;
        std::string out;
        int status = 0;
    } rows[] = {
        {{a}, expected(all_given)},
        {{a + "$LogFile"}, expected(all_given)},
        {{a + "$Extend/$J"}, expected(all_given)},
        {{m_folder.at("c")}, expected(all_given) + expected(log_given)},
        {{b, a + "$MFT"}, expected(all_given) + expected(with(log_given, mft_given))},
        {{b, m_folder.at("c/e/$MFT")}, expected(with(log_given, mft_given))},
        {{b, m_folder.at("c/nothing")}, expected(log_given), -1},
    };
    for (const auto& t : rows) {
        const captured_run ran =
            run_captured(with(t.paths, {"-quiet", "-jsonl", "-columns", "time,event,path,details"}));
        EXPECT_EQ(ran.status, t.status) << t.paths.front() << ran.err;
        EXPECT_EQ(ran.out == t.out, true) << t.paths.front();
    }
    m_folder.put("disk.dd", text_of(pack(partition_table({{63, 2401}}), at{63 * 512}, volume_image{}.image())));
    const auto rows_of = [this](const char* partition) {
        return run_captured({m_folder.at("disk.dd"), "-partition", partition, "-list", "-columns", "volume", "-csv"})
            .out;
    };
    EXPECT_NE(rows_of("1").find("disk.dd:1\n"), std::string::npos);
    EXPECT_EQ(rows_of("2").find("disk.dd:1\n"), std::string::npos);
    EXPECT_NE(run_captured({m_folder.at("none"), "-events"}).err.find("no such file or folder"), std::string::npos);
    EXPECT_EQ(run_captured({b, "-log"}).err, run_captured({"-log"}).err);  // an input option: nothing new
    EXPECT_NE(run_captured({b, "-undo", "-quiet"}).out.find("op_name"), std::string::npos);
}

}  // namespace
}  // namespace kest::disk
