// What kest takes for a slip of its operator: said as a hint, refused with -strict.

#include "portable/sha256.h"
#include "support/made_run.h"

namespace kest::disk {
namespace {

// A file record with a number that is known by its place on a volume with clusters of this size.
bytes log_of_clusters(u64 size) {
    const bytes file = file_record{.number = 40}.image();
    return log_of_pages(
        {{.lsn = 8, .redo_op = 2, .block_size = 2, .vcn = 40 * 1024 / size, .redo = part(file, 0, 200)}});
}

const bytes sound_log = log_of_clusters(4096), sound_mft = mft_image({{.number = 0}}),
            sound_journal = pack(bytes(8192), usn_image{}.image(), at{20'000});

class warnings : public ::testing::Test {
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

TEST_F(warnings, a_log_of_another_kind_is_refused) {
    const std::string image = "an image of a volume or a disk", packed = "a compressed file";
    const std::tuple<std::string, bytes, std::string> rows[] = {
        {"mft", sound_mft, "an MFT"},
        {"mft whose first record is marked", pack(sound_mft, at{0}, u32{0x44414142}), "an MFT"},
        {"journal after zeros", sound_journal, "a change journal"},
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
        const std::string unknown = bytes.size() < 4096 ? "too short: -log " : "no record in: ";
        expect_strict({"-log", path}, -1, (kind.empty() ? unknown : "looks like " + kind + ": -log ") + path + '\n');
    }
}

TEST_F(warnings, an_input_is_known_by_its_first_bytes) {
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

TEST_F(warnings, what_may_not_be_meant_so_is_refused) {
    const std::string small = put("small", log_of_clusters(1024));
    const std::string words = "clusters of 1024 bytes, rows reckon with 4096: -cluster_size auto\n";
    const std::string folder = m_folder.at("folder");
    const std::string listed = m_folder.put("folder/log", contents_of(m_log));
    m_folder.put("folder/deeper/log", contents_of(m_log));
    const std::string empty = m_folder.put("empty");
    const std::string logged = put("logged", log_of_pages({{.lsn = 8, .redo_op = 8, .redo = usn_image{}.image()}}));
    const std::string later = put("later", mft_image({{.number = 0, .lsn = 9}}));
    const std::string misfit = "does not fit the log: -mftfile " + later + ": 1 with an LSN above the log's\n";
    const std::string other_size =
        put("other_size", log_of_pages({{.lsn = 8, .type = 2, .redo_op = 0, .redo = pack(at{40}, u32{512}, at{64})},
                                        {.lsn = 16,
                                         .redo_op = 2,
                                         .block_size = 2,
                                         .vcn = 40,
                                         .redo = part(file_record{.number = 40}.image(), 0, 200)}}));
    const std::string contradicts = "the log contradicts itself: " + other_size +
                                    ": 512 bytes per cluster by its restart record, 1024 by its file records\n";
    const std::tuple<argument_list, int, std::string> rows[] = {
        {{"-log", other_size, "-events"}, -1, contradicts},
        {{"-log", other_size, "-mftfile", m_mft, "-events"}, -1, contradicts},
        {{"-log", logged, "-mftfile", m_mft, "-jrnlfile", m_journal, "-APPEND"}, 0, ""},
        {{"-log", m_log, "-mftfile", later, "-events"}, -1, misfit},
        {{"-log", m_log, "-mftfile", later}, -1, misfit},
        {{"-log", m_log, "-provenance", "-csv"}, -1, "-provenance: only with -jsonl, -coverage or -page\n"},
        {{"-log", m_log, "-provenance", "-coverage"},
         uni::sha256::available() ? 0 : -1,
         uni::sha256::available() ? "" : "-provenance: without SHA-256, as libcrypto is not there\n"},
        {{"-log", m_log, "-jrnlfile", empty}, -1, "no record in: " + empty + '\n'},
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
        {{"-log", small, "-cluster_size", "512", "-events"}, -1, "clusters of 1024 bytes, -cluster_size says 512\n"},
        {{"-enumdir", folder}, -1, "folders too deep: 1\n"},
        {{"-enumdir", folder, "-num_subdirs", "1"}, 0, ""},
        {{"-enumdir", folder, "-num_subdirs", "abc"}, -1, "not understood: -num_subdirs abc\n"},
        {{"-enumdir", folder, "-filter_sig", "zz"}, -1, "not understood: -filter_sig zz\n"},
        {{"-enumdir", folder, "-filter_sig", "2e|z"}, -1, "not understood: -filter_sig 2e|z\n"},
        {{"-enumdir", folder, "-filter", "|", "-pipe"},
         -1,
         "not understood: -filter |\nexclude each other: -enumdir -pipe\n"},
        {{"-log", m_log, "-cluster_size", "4k"}, -1, "invalid 4k, using default cluster size\n"},
        {{"-log", m_log, "-timeformat", "x"}, -1, "invalid x, using default format\n"},
        {{"-pipe", "-cmd_start_time", "2026-02-30"}, -1, "invalid start time, ignoring\n"},
        {{"-pipe", "-cmd_stop_time", "1.1.26"}, -1, "invalid time, aborting: 1.1.26\n"},
        {{"-log", m_log, "-filter", "x", "-cmd_start_time", "2026-02-03"},
         -1,
         "without a list of logs: -filter -cmd_start_time\n"},
        {{"-log", m_log, "-stats", "-events"}, -1, "exclude each other: -stats -events\n"},
        {{"-log", m_log, "-coverage", "-stats"}, -1, "exclude each other: -stats -coverage\n"},
        {{"-log", m_log, "-undo", "-events"}, -1, "exclude each other: -events -undo\n"},
        {{"-log", m_log, "-undo", "-mftfile", m_mft, "-showall_inodes"}, 0, ""},
        {{"-log", m_log, "-csv", "-jsonl", "-base10", "-base16"},
         -1,
         "exclude each other: -csv -jsonl\nexclude each other: -base10 -base16\n"},
        {{"-log", m_log, "-xml", "-events"}, -1, "no rows in this form: -xml\n"},
        {{"-log", m_log, "-bodyfile"}, -1, "no rows in this form: -bodyfile\n"},
        {{"-log", m_log, "-csvl2t", "-coverage"}, -1, "without effect: -csvl2t\n"},
        {{"-log", m_log, "-bodyfile", "-summary"}, -1, "without effect: -bodyfile\n"},
        {{"-log", m_log, "-bodyfile", "-events", "-csv_separator", ";"},
         -1,
         "without effect beside -bodyfile: -csv_separator\n"},
        {{"-log", m_log, "-undo", "-page", folder + "/page"}, -1, "exclude each other: -page -undo\n"},
        {{"-log", m_log, "-page", "-"}, -1, "-page needs a file\n"},
        {{"-log", m_log, "-diags", folder}, -1, "not opened (is a folder): -diags " + folder + '\n'},
        {{"-log", m_log, "-csv_separator", ": "}, -1, "separator cannot be told from values, aborting: : \n"},
        {{"-log", m_log, "-csv_separator", "tabs"}, -1, "separator cannot be told from values, aborting: tabs\n"},
        {{"-log", m_log, "-csv_separator", ";\n"}, -1, "separator cannot be told from values, aborting: ;[LF]\n"},
        {{"-log", m_log, "-csv_separator", "a;"}, 0, ""},
        {{"-log", m_log, "-hostname", "-undo"}, -1, "taken as a value: -hostname -undo\n"},
        {{"-log", m_log, "-hostname", "-strict"}, -1, "taken as a value, aborting: -hostname -strict\n"},
        {{"-pipe", "-mftfile", m_mft, "-jsonl"},
         -1,
         "a list takes logs only: -mftfile and -jrnlfile need a run for each log\n"},
        {{"-log", m_log, "-csv_separator", "TAB"}, 0, ""},
    };
    for (const auto& [args, status, said] : rows) {
        SCOPED_TRACE(::testing::PrintToString(args));
        expect_strict(args, status, said);
    }
}

TEST_F(warnings, each_log_of_a_list_is_judged_in_its_turn) {
    const std::string zeros = put("zeros", bytes(9000)), small = put("small", log_of_clusters(1024));
    const std::string list = m_folder.put("list", m_mft + '\n' + zeros + '\n' + small + '\n' + m_log + '\n');
    const captured_run ran = run_captured({"-pipe", "-strict", "-quiet", "-jsonl"}, list);
    EXPECT_EQ(ran.status, -1);
    EXPECT_EQ(ran.err, "looks like an MFT: " + m_mft + "\nno record in: " + zeros +
                           "\nclusters of 1024 bytes, rows reckon with 4096: -cluster_size auto\n");
    EXPECT_EQ(std::ranges::count(ran.out, '\n'), 1) << ran.out;
    const std::string nowhere = m_folder.at("nowhere");
    EXPECT_EQ(
        run_captured({"-pipe", "-quiet", "-cut"}, m_folder.put("some", nowhere + '\n' + zeros + '\n' + m_log)).err,
        "prob parsing file: " + nowhere + " (no such file)\nprob parsing file: " + zeros + " (no record)\n");
    EXPECT_EQ(run_captured({"-pipe", "-strict", "-quiet"}, m_folder.put("good", m_log + '\n')).status, 0);
}

TEST_F(warnings, what_cannot_be_opened_says_why) {
    const std::string nowhere = m_folder.at("nowhere"), folder = m_folder.at(""), empty = put("empty", {});
    const auto no_report = [](const std::string& path, const std::string& why) {
        return "prob opening file " + path + " for output, aborting (" + why + ")\n";
    };
    const auto not_parsed = [](const std::string& path, const std::string& why) {
        return "prob parsing file: " + path + " (" + why + ")\n";
    };
    const std::tuple<argument_list, std::string> rows[] = {
        {{"-log", nowhere}, not_parsed(nowhere, "no such file")},
        {{"-log", m_log + "/x"}, not_parsed(m_log + "/x", "no such file")},
        {{"-log", folder}, not_parsed(folder, "is a folder")},
        {{"-log", empty, "-mftfile", m_mft}, not_parsed(empty, "no record")},
        {{"-log", m_log, "-mftfile", nowhere}, not_parsed(nowhere, "no such file")},
        {{"-log", m_log, "-mftfile", empty}, not_parsed(empty, "no file record")},
        {{"-log", m_log, "-jrnlfile", nowhere}, not_parsed(nowhere, "no such file")},
        {{"-log", m_log, "-out", nowhere + "/x"}, no_report(nowhere + "/x", "no such folder")},
        {{"-log", m_log, "-out", m_log + "/x"}, no_report(m_log + "/x", "not a folder")},
        {{"-log", m_log, "-out", m_mft}, no_report(m_mft, "evidence, or in use")},
        {{"-enumdir", nowhere}, "prob opening folder: " + nowhere + " (no such folder)\n"},
        {{"-enumdir", m_log}, "prob opening folder: " + m_log + " (not a folder)\n"},
    };
    for (const auto& [args, said] : rows) {
        SCOPED_TRACE(::testing::PrintToString(args));
        argument_list quiet = args;
        quiet.insert(quiet.end(), {"-quiet", "-events"});
        const captured_run ran = run_captured(quiet);
        EXPECT_EQ(ran.status, -1);
        EXPECT_EQ(ran.err, said);
    }
    const captured_run listed = run_captured({"-pipe", "-events"}, m_folder.put("list", m_mft + '\n' + nowhere + '\n'));
    EXPECT_NE(listed.err.find("looks like an MFT: " + m_mft + '\n' + not_parsed(m_mft, "no record")), std::string::npos)
        << listed.err;
    EXPECT_NE(listed.err.find(not_parsed(nowhere, "no such file")), std::string::npos) << listed.err;
}

TEST_F(warnings, are_said_in_extended_runs) {
    const std::string small = put("small", log_of_clusters(1024)), words = "clusters of 1024 bytes";
    const auto said_to_file = [&](const std::string& hint, argument_list args, const argument_list& more) {
        args.insert(args.end(), more.begin(), more.end());
        const captured_run into_file = run_captured(args);
        EXPECT_EQ(into_file.status, 0);
        return into_file.err.find(hint) != std::string::npos;
    };
    const std::string zeros = put("zeros", bytes(9000));
    const std::tuple<std::string, argument_list> rows[] = {
        {"ignored", {"-log", m_log, "-mftfiel", m_mft}},
        {"looks like", {"-log", m_mft}},
        {"no record", {"-log", zeros}},
        {words, {"-log", small}},
        {words, {"-log", small, "-mftfile", m_mft}},
        {"without a list", {"-log", m_log, "-filter", "x"}},
        {"too deep", {"-enumdir", m_folder.at("folder")}},
    };
    m_folder.put("folder/log", contents_of(m_log));
    m_folder.put("folder/deeper/log", contents_of(m_log));
    for (const auto& [hint, args] : rows) {
        EXPECT_TRUE(said_to_file(hint, args, {"-cut"})) << hint;
        EXPECT_FALSE(said_to_file(hint, args, {"-cut", "-quiet"})) << hint;
        EXPECT_FALSE(said_to_file(hint, args, {})) << hint;
    }
    EXPECT_NE(run_captured({"-lgo", m_log, "-events"}).err.find("ignored: -lgo"), std::string::npos);
}

}  // namespace
}  // namespace kest::disk
