#include "driver/option_parser.h"

#include <gtest/gtest.h>
#include <iterator>
#include <sstream>

#include "support/scratch_folder.h"

namespace kest {
namespace {

// Says whether the run may go on; `left` is what is not taken, without the program's name.
struct parsed {
    logfile_options options;
    argument_list left;
    bool accepted;

    explicit parsed(argument_list args) : left(std::move(args)) {
        left.insert(left.begin(), "kest");
        accepted = parse_options(options, left);
        left.erase(left.begin());
    }
};

TEST(parse_options, shapes_exclude_each_other_in_a_fixed_order) {
    struct row {
        argument_list args;
        output_shape shape;
        std::string separator;
        char sep_char, sep_subst;
        bool no_whitespace, marks_line_ends, header_line;
    };
    using enum output_shape;
    const row rows[] = {
        {{}, text, " | ", '|', ';', false, false, true},
        {{"-no_whitespace"}, text, "|", '|', ';', true, false, true},
        {{"-csv"}, csv, ",", ',', ' ', false, true, true},
        {{"-csv", "-no_whitespace"}, csv, ",", ',', ' ', true, true, true},
        {{"-bodyfile", "-csv"}, bodyfile, "|", '|', ';', true, true, true},
        {{"-csvgen"}, csvgen, ",", ',', ' ', true, true, true},
        {{"-csvl2t"}, csvl2t, ",", ',', ' ', false, true, true},
        {{"-xml"}, xml, "", '\0', '\0', false, false, false},
        {{"-multiline", "-xml"}, multiline, "", '\0', '\0', false, false, true},
        {{"-csv", "-pair_datetime", "-multiline"}, multiline, "", '\0', '\0', false, false, true},
        {{"-csv", "-multiline"}, multiline, "", '\0', '\0', true, false, true},
        {{"-csv_separator", "; |", "-no_whitespace"}, text, ";|", '|', ';', true, false, true},
        {{"-csv_separator", "TAB"}, text, "\t", '\0', '\0', false, false, true},
        {{"-csv_separator", "\\t"}, text, "\t", '\0', '\0', false, false, true},
        {{"-csv_separator", "tabs", "-csv"}, csv, "tabs", '\0', '\0', false, true, true},
    };
    for (const row& t : rows) {
        SCOPED_TRACE(::testing::PrintToString(t.args));
        const parsed p(t.args);
        EXPECT_EQ(p.options.shape, t.shape);
        EXPECT_EQ(p.options.separator, t.separator);
        EXPECT_EQ(p.options.sep_char, t.sep_char);
        EXPECT_EQ(p.options.sep_subst, t.sep_subst);
        EXPECT_EQ(p.options.no_whitespace, t.no_whitespace);
        EXPECT_EQ(p.options.marks_line_ends, t.marks_line_ends);
        EXPECT_EQ(p.options.header_line, t.header_line);
    }
}

argument_list words(const std::string& line) {
    std::istringstream in(line);
    return {std::istream_iterator<std::string>(in), {}};
}

TEST(parse_options, options_of_no_effect_are_taken_with_their_values) {
    const std::string behind =
        "-signal s -hostname h -split_pathfile -username u -cpuinst 1 -cpu 2 -fragment_files 3 "
        "-separate_files -outdir d -verbose -v ";
    const parsed p(words(behind + "-gzip -zlib -threads -quiet -zlibex 1 -alias a|b -aliaspath a|b -log x "
                                  "-filter_path -quiet -showall_inodes -l2 -sqlite"));
    EXPECT_TRUE(p.accepted);
    EXPECT_EQ(p.left, words("-filter_path -showall_inodes -l2 -sqlite"));
    EXPECT_FALSE(p.options.show_progress);  // the second "-quiet" is no value: there is no filter

    const parsed refused(words(behind + "-gzip -sqlite -log x"));
    EXPECT_FALSE(refused.accepted);
    EXPECT_EQ(refused.left, words(behind + "x"));  // nothing behind the refusal is looked for
}

TEST(parse_options, names_the_inputs) {
    struct row {
        argument_list args;
        bool accepted, log, mft, jrnl;
    };
    const row rows[] = {
        {{"-LOG", "x"}, true, true, false, false},
        {{"-log"}, false, false, false, false},
        {{"-log", ""}, false, true, false, false},
        {{"-mftfile", "m", "-jrnlfile", "j"}, true, false, true, true},
        {{"-pipe"}, true, true, false, false},
        {{"-pipe", "-mftfile"}, true, false, true, false},
        {{"-pipe", "-jrnlfile"}, true, false, false, true},
        {{"-enumdir", "d", "-jrnlfile", "-log"}, true, true, false, true},
    };
    for (const row& t : rows) {
        SCOPED_TRACE(::testing::PrintToString(t.args));
        const parsed p(t.args);
        EXPECT_EQ(p.accepted, t.accepted);
        EXPECT_EQ(p.options.have_log, t.log);
        EXPECT_EQ(p.options.have_mft, t.mft);
        EXPECT_EQ(p.options.have_jrnl, t.jrnl);
        EXPECT_EQ(p.options.all_records, t.mft);
    }
    EXPECT_TRUE(parsed({"-mftfile", "m", "-showall_inodes"}).options.showall_inodes);
}

TEST(parse_options, numbers_and_flags) {
    const parsed p(
        {"-log", "x", "-base16", "-base10", "-stats", "-no_guesses", "-profile", "-num_subdirs", "0x100000003"});
    EXPECT_TRUE(p.options.base16);
    EXPECT_TRUE(p.options.stats_requested);
    EXPECT_FALSE(p.options.guesses_allowed);
    EXPECT_TRUE(p.options.profile);
    EXPECT_EQ(p.options.num_subdirs, 3U);
    EXPECT_FALSE(parsed({"-base10"}).options.base16);
}

TEST(parse_options, kept_an_offset_has_no_effect) {
    const parsed p({"-log", "x", "-offset", "0x100"});
    EXPECT_TRUE(p.accepted);
    EXPECT_TRUE(p.left.empty());
}

TEST(parse_options, kept_formats_are_judged_by_length) {
    const cv::format_flags standard = cv::compile_format("yyyy-mm-dd", "hh:mm:ss.xxx", false);
    struct row {
        const char *option, *value;
        cv::format_flags expected;
    };
    const row rows[] = {
        {"-dateformat", "MM/DD/YY", cv::compile_format("mm/dd/yy", "hh:mm:ss.xxx", false)},
        {"-dateformat", "dd-mmm-yy", standard},
        {"-dateformat", "", standard},
        {"-dateformat", "nonsense", {}},
        {"-timeformat", "hh:mm:ss", cv::compile_format("yyyy-mm-dd", "", false)},
        {"-timeformat", "hh:mm:ss.xx", standard},
        {"-timeformat", "hh:mm:ss.xxxxxxxxx", cv::compile_format("yyyy-mm-dd", "xxxxxxxxx", false)},
        {"-timeformat", "hhmmss.xxxxxx", standard},
    };
    for (const row& t : rows) {
        SCOPED_TRACE(t.value);
        EXPECT_EQ(parsed({t.option, t.value, "-log", "x"}).options.time_format, t.expected);
    }
    EXPECT_TRUE(parsed({"-dateformat", "nonsense", "-pair_datetime"}).options.time_format.compiled());
}

TEST(parse_options, aliases_come_in_pairs) {
    struct row {
        const char* value;
        bool alias, alias_path;
    };
    for (const row& t : {row{"a|b", true, true}, row{"a", false, false}, row{"a|b|c", false, false}}) {
        SCOPED_TRACE(t.value);
        EXPECT_EQ(parsed({"-alias", t.value, "-pipe"}).accepted, t.alias);
        EXPECT_EQ(parsed({"-aliaspath", t.value, "-pipe"}).accepted, t.alias_path);
    }
}

TEST(parse_options, kept_an_empty_alias_is_none_but_an_empty_alias_path_is_half_a_pair) {
    EXPECT_TRUE(parsed({"-alias", "", "-pipe"}).accepted);
    EXPECT_FALSE(parsed({"-aliaspath", "", "-pipe"}).accepted);
}

constexpr std::uint64_t march_16 = 134'180'928'000'000'000;  // 2026-03-16 00:00:00
constexpr std::uint64_t hour = 36'000'000'000;

TEST(parse_options, time_bounds) {
    struct row {
        const char *start, *stop;
        bool accepted, start_set, stop_set;
        std::uint64_t start_ticks, stop_ticks;
    };
    const row rows[] = {
        {"2026-03-16", nullptr, true, true, true, march_16, UINT64_MAX},
        {"2026/3/16 01:00:00", "2026-03-16 02:00:00", true, true, true, march_16 + hour, march_16 + 2 * hour},
        {nullptr, "2026-03-16", true, false, true, 0, march_16 + 24 * hour - 10'000'000},
        {"2026-03-16", "2026-03-16 00:00:00", true, true, true, march_16, march_16},
        {"2026-03-16 02:00:00", "2026-03-16 01:59:59", true, true, false, march_16 + 2 * hour, 0},
        {"2026-02-29", "2026-03-16 24:00:00", true, false, false, 0, 0},
        {"2026/03-16", nullptr, true, false, false, 0, 0},  // "/" goes first
        {"20260316", nullptr, false, false, false, 0, 0},
        {nullptr, " 12:00:00", false, false, false, 0, 0},
    };
    for (const row& t : rows) {
        argument_list args{"-pipe"};
        if (t.start != nullptr) args.insert(args.end(), {"-cmd_start_time", t.start});
        if (t.stop != nullptr) args.insert(args.end(), {"-cmd_stop_time", t.stop});
        SCOPED_TRACE(::testing::PrintToString(args));
        const parsed p(args);
        EXPECT_EQ(p.accepted, t.accepted);
        EXPECT_EQ(p.options.start_bound.set, t.start_set);
        EXPECT_EQ(p.options.stop_bound.set, t.stop_set);
        EXPECT_EQ(p.options.start_bound.ticks, t.start_ticks);
        EXPECT_EQ(p.options.stop_bound.ticks, t.stop_ticks);
    }
}

TEST(parse_options, kept_a_blank_behind_the_date_is_midnight) {
    EXPECT_EQ(parsed({"-pipe", "-cmd_stop_time", "2026-03-16 "}).options.stop_bound.ticks, march_16);
}

TEST(parse_options, evidence_is_not_opened_for_writing) {
    const disk::scratch_folder folder;
    const std::string log = folder.put("log", "evidence");
    ASSERT_EQ(::symlink(log.c_str(), folder.at("link").c_str()), 0);
    ASSERT_EQ(::link(log.c_str(), folder.at("other").c_str()), 0);
    for (const char* input : {"-log", "-MFTFILE", "-jrnlfile"}) {
        for (const std::string& output : {log, log + '/', folder.at("link"), folder.at("other")}) {
            SCOPED_TRACE(output);
            EXPECT_FALSE(parsed({"-out", output, "-append", input, log + "\\"}).accepted);
            EXPECT_FALSE(parsed({"-outfile", output, input, log}).accepted);
            const parsed p({"-diags", output, input, log});
            EXPECT_TRUE(p.accepted);
            EXPECT_FALSE(p.options.diags_on());
            EXPECT_EQ(p.options.diags_path, "");
        }
    }
    EXPECT_EQ(disk::contents_of(log), "evidence");
    EXPECT_TRUE(std::filesystem::exists(folder.at("link")));
}

// An option that is taken lets what stands behind it move up to the input option.
TEST(parse_options, evidence_is_known_behind_other_options) {
    const disk::scratch_folder folder;
    const std::string log = folder.put("log", "evidence");
    const argument_list rows[] = {
        {"-log", "-csv", log, "-out", log},
        {"-log", "-out", log, log},
        {"-mftfile", "-diags", log, log},
        {"-jrnlfile", "-hostname", "-out", log, "-out", log},
    };
    for (const argument_list& args : rows) {
        SCOPED_TRACE(::testing::PrintToString(args));
        static_cast<void>(parsed(args));
        EXPECT_EQ(disk::contents_of(log), "evidence");
    }
}

TEST(parse_options, kept_the_results_file_is_deleted_by_its_proof) {
    const disk::scratch_folder folder;
    const std::string old = folder.put("old", "an older report");
    ::setenv("KEST_OUT", folder.at("").c_str(), 1);
    const parsed p({"-log", "x", "-out", "%KEST_OUT%\\old", "-append"});
    EXPECT_TRUE(p.accepted);
    EXPECT_EQ(p.options.out_path, folder.at("/old"));
    EXPECT_FALSE(std::filesystem::exists(old));
    ASSERT_EQ(::symlink("/dev/null", folder.at("link").c_str()), 0);
    EXPECT_TRUE(parsed({"-log", "x", "-outfile", folder.at("link")}).accepted);
    EXPECT_TRUE(std::filesystem::is_symlink(folder.at("link")));
}

TEST(parse_options, diagnostics_begin_with_the_command_line) {
    const disk::scratch_folder folder;
    const std::string path = folder.put("diags", "older text");
    parsed p({"-diags", path, "-l3", "-log", "a b"});
    EXPECT_EQ(p.options.diags_level, 3U);
    diag_print(p.options, 3, "shown");
    diag_print(p.options, 4, "not shown");
    EXPECT_EQ(disk::contents_of(path), "->kest -diags " + path + " -l3 -log \"a b\"\n->shown\n");
}

}  // namespace
}  // namespace kest
