// What kest takes for a slip of its operator: told on a terminal, refused with -strict.

#include <pty.h>

#include "support/made_run.h"

namespace kest::disk {
namespace {

// A file record with a number that is told by its place on a volume with clusters of this size.
bytes log_of_clusters(u64 size) {
    const bytes file = file_record{.number = 40}.image();
    return log_of_pages(
        {{.lsn = 8, .redo_op = 2, .block_size = 2, .vcn = 40 * 1024 / size, .redo = part(file, 0, 200)}});
}

const bytes sound_log = log_of_clusters(4096), sound_mft = mft_image({{.number = 0}}),
            sound_journal = pack(bytes(8192), usn_image{}.image(), at{20'000});

class doubts : public ::testing::Test {
protected:
    std::string put(const std::string& name, const bytes& image) const {
        return m_folder.put(name, std::string(image.begin(), image.end()));
    }
    // Expects the status and all that is said.
    static void expect_strict(argument_list args, int status, const std::string& said) {
        args.insert(args.end(), {"-strict", "-quiet"});
        const captured_run ran = run_captured(args);
        EXPECT_EQ(ran.status, status);
        EXPECT_EQ(ran.err, said);
        EXPECT_EQ(ran.out.empty(), status != 0);  // nothing was begun
    }

    const scratch_folder m_folder;
    const std::string m_log = put("log", sound_log), m_mft = put("mft", sound_mft),
                      m_journal = put("journal", sound_journal);
};

TEST_F(doubts, a_log_of_another_kind_is_refused) {
    const std::string image = "an image of a volume or a disk", packed = "a compressed file";
    const std::tuple<std::string, bytes, std::string> rows[] = {
        {"mft", sound_mft, "an MFT"},
        {"mft whose first record is marked", pack(sound_mft, at{0}, u32{0x44414142}), "an MFT"},
        {"journal behind zeros", sound_journal, "a change journal"},
        {"journal whose record is longer than a page", pack(sound_journal, at{8192}, u32{4104}), ""},
        {"volume", pack(at{3}, u64{0x202020205346544E}, at{9000}), image},
        {"disk", pack(at{510}, u16{0xAA55}, at{9000}), image},
        {"virtual disk", pack(u64{0x656C696678646876}, at{9000}), image},
        {"evidence file", pack(u64{0x00FF0A0D09465645}, at{9000}), image},
        {"gzip", pack(u32{0x00088B1F}, at{9000}), packed},
        {"xz", pack(u32{0x587A37FD}, u16{0x005A}, at{9000}), packed},
        {"zip", pack(u32{0x04034B50}, at{9000}), packed},
        {"tar", pack(at{257}, u32{0x61747375}, u8{0x72}, at{9000}), packed},
        {"text that begins like a log", bytes{'R', 'S', 'T', 'R', 'i', 'n', 'g'}, ""},
        {"zeros", bytes(9000), ""},
        {"nothing", {}, ""},
    };
    for (const auto& [what, bytes, kind] : rows) {
        SCOPED_TRACE(what);
        const std::string path = put("input", bytes);
        expect_strict({"-log", path}, -1,
                      (kind.empty() ? "no record in: " : "looks like " + kind + ": -log ") + path + '\n');
    }
}

TEST_F(doubts, an_input_is_known_by_its_first_bytes) {
    const std::string log = "a log", image = "an image of a volume or a disk", packed = "a compressed file";
    const std::tuple<std::size_t, std::string, std::string> rows[] = {
        {0, std::string("CHKD\x1E", 6), log},
        {0, std::string("RCRD\xFF", 6), log},
        {512, "EFI PART", image},
        {0, "EVF2\r\n", image},
        {0, "AFF", image},
        {0, "KDMV", image},
        {0, "QFI\xFB", image},
        {0, "conectix", image},
        {0, "BZh", packed},
        {0, "7z\xBC\xAF\x27\x1C", packed},
        {0, "\x28\xB5\x2F\xFD", packed},
        {0, "\x04\x22\x4D\x18", packed},
        {0, "Rar!\x1A\x07", packed},
    };
    for (const auto& [offset, signature, kind] : rows) {
        SCOPED_TRACE(signature);
        const std::string path = m_folder.put("input", std::string(offset, '\0') + signature);
        expect_strict({"-log", m_log, "-mftfile", path}, -1, "looks like " + kind + ": -mftfile " + path + '\n');
    }
}

TEST_F(doubts, what_may_not_be_meant_so_is_refused) {
    const std::string small = put("small", log_of_clusters(1024));
    const std::string words = "clusters of 1024 bytes, rows reckon with 4096: -cluster_size auto\n";
    const std::string folder = m_folder.at("folder");
    const std::string listed = m_folder.put("folder/log", contents_of(m_log));
    m_folder.put("folder/deeper/log", contents_of(m_log));
    const std::tuple<argument_list, int, std::string> rows[] = {
        {{"-log", m_log, "-mftfile", m_mft, "-jrnlfile", m_journal, "-APPEND"}, 0, ""},
        {{"-log", m_log, "-mftfiel", "a b", "x\n"}, -1, "ignored: -mftfiel 'a b' x[LF]\n"},
        {{"-log", m_log, "-quiet"}, -1, "ignored: -quiet\n"},
        {{"-log", m_log, "-showall_inodes"}, -1, "ignored: -showall_inodes\n"},
        {{"-log", m_log, "-mftfile", m_log, "-jrnlfile", m_mft},
         -1,
         "looks like a log: -mftfile " + m_log + "\nlooks like an MFT: -jrnlfile " + m_mft + '\n'},
        {{"-log", small}, -1, words},
        {{"-log", small, "-jsonl", "-mftfile", m_mft}, -1, words},
        {{"-log", small, "-cluster_size", "1024"}, 0, ""},
        {{"-log", small, "-events"}, 0, ""},
        {{"-log", small, "-stats"}, 0, ""},
        {{"-enumdir", folder}, -1, "folders too deep: 1\n"},
        {{"-enumdir", folder, "-num_subdirs", "1"}, 0, ""},
    };
    for (const auto& [args, status, said] : rows) {
        SCOPED_TRACE(::testing::PrintToString(args));
        expect_strict(args, status, said);
    }
}

TEST_F(doubts, each_log_of_a_list_is_judged_in_its_turn) {
    const std::string zeros = put("zeros", bytes(9000)), small = put("small", log_of_clusters(1024));
    const std::string list = m_folder.put("list", m_mft + '\n' + zeros + '\n' + small + '\n' + m_log + '\n');
    const captured_run ran = run_captured({"-pipe", "-strict", "-quiet", "-jsonl"}, list);
    EXPECT_EQ(ran.status, -1);
    EXPECT_EQ(ran.err, "looks like an MFT: " + m_mft + "\nno record in: " + zeros +
                           "\nclusters of 1024 bytes, rows reckon with 4096: -cluster_size auto\n");
    EXPECT_EQ(std::ranges::count(ran.out, '\n'), 1) << ran.out;
    EXPECT_EQ(run_captured({"-pipe", "-strict", "-quiet"}, m_folder.put("good", m_log + '\n')).status, 0);
}

TEST_F(doubts, are_told_on_a_terminal_alone) {
    int ends[2];
    if (::openpty(&ends[0], &ends[1], nullptr, nullptr, nullptr) != 0) GTEST_SKIP() << "no pseudo terminal";
    ::close(ends[0]);
    ::close(ends[1]);
    const auto said = [](const argument_list& args) {
        int leader = -1, follower = -1;
        EXPECT_EQ(::openpty(&leader, &follower, nullptr, nullptr, nullptr), 0);
        run_prepared(args, [follower] { ::dup2(follower, STDERR_FILENO); });
        std::string text(4096, '\0');
        text.resize(static_cast<std::size_t>(std::max<ssize_t>(::read(leader, text.data(), text.size()), 0)));
        ::close(leader);
        ::close(follower);
        return text;
    };
    argument_list slips = {"-log", m_log, "-mftfiel", m_mft, "-mftfile", m_journal, "-stats"};
    EXPECT_EQ(said(slips).find("ignored: -mftfiel " + m_mft + "\r\nlooks like a change journal: -mftfile " + m_journal +
                               "\r\nprob"),
              0U);
    slips.push_back("-quiet");
    EXPECT_EQ(said(slips).substr(0, 4), "prob");
    const std::string small = put("small", log_of_clusters(1024)), words = "clusters of 1024 bytes";
    EXPECT_NE(said({"-log", small}).find(words), std::string::npos);
    EXPECT_EQ(said({"-log", small, "-events"}).find(words), std::string::npos);
    const captured_run into_file = run_captured({"-log", m_log, "-mftfiel", m_mft});
    EXPECT_EQ(into_file.status, 0);
    EXPECT_EQ(into_file.err.find("ignored"), std::string::npos) << into_file.err;
}

}  // namespace
}  // namespace kest::disk
