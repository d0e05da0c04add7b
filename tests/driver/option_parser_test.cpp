#include "driver/option_parser.h"

#include <gtest/gtest.h>
#include <iterator>
#include <sstream>

#include "driver/environment.h"
#include "driver/parse_number.h"
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

argument_list words(const std::string& line) {
    std::istringstream in(line);
    return {std::istream_iterator<std::string>(in), {}};
}

TEST(parse_options, shapes_exclude_each_other_in_a_fixed_order) {
    using enum output_shape;
    using shown = std::tuple<output_shape, std::string, char, char, bool, bool, bool>;
    // separator, character and substitute; without whitespace, line ends marked, header line
    const std::pair<argument_list, shown> rows[] = {
        {{}, {text, " | ", '|', ';', false, false, true}},
        {{"-no_whitespace"}, {text, "|", '|', ';', true, false, true}},
        {{"-csv"}, {csv, ",", ',', ' ', false, true, true}},
        {{"-csv", "-no_whitespace"}, {csv, ",", ',', ' ', true, true, true}},
        {{"-bodyfile", "-csv"}, {bodyfile, "|", '|', ';', true, true, true}},
        {{"-csvgen"}, {csvgen, ",", ',', ' ', true, true, true}},
        {{"-csvl2t"}, {csvl2t, ",", ',', ' ', false, true, true}},
        {{"-xml"}, {xml, "", '\0', '\0', false, false, false}},
        {{"-multiline", "-xml"}, {multiline, "", '\0', '\0', false, false, true}},
        {{"-csv", "-pair_datetime", "-multiline"}, {multiline, "", '\0', '\0', false, false, true}},
        {{"-csv", "-multiline"}, {multiline, "", '\0', '\0', true, false, true}},
        {{"-csv_separator", "; |", "-no_whitespace"}, {text, ";|", '|', ';', true, false, true}},
        {{"-csv_separator", "TAB"}, {text, "\t", '\0', '\0', false, false, true}},
        {{"-csv_separator", "\\t"}, {text, "\t", '\0', '\0', false, false, true}},
        {{"-csv_separator", "tabs", "-csv"}, {csv, "tabs", '\0', '\0', false, true, true}},
    };
    for (const auto& [args, expected] : rows) {
        const parsed p(args);
        const logfile_options& o = p.options;
        EXPECT_EQ(
            shown(o.shape, o.separator, o.sep_char, o.sep_subst, o.no_whitespace, o.marks_line_ends, o.header_line),
            expected)
            << ::testing::PrintToString(args);
    }
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
    // whether accepted; what is there of log, MFT and journal
    const std::pair<argument_list, std::tuple<bool, bool, bool, bool>> rows[] = {
        {{"-LOG", "x"}, {true, true, false, false}},
        {{"-log"}, {false, false, false, false}},
        {{"-log", ""}, {false, true, false, false}},
        {{"-mftfile", "m", "-jrnlfile", "j"}, {true, false, true, true}},
        {{"-pipe"}, {true, true, false, false}},
        {{"-pipe", "-mftfile"}, {true, false, true, false}},
        {{"-pipe", "-jrnlfile"}, {true, false, false, true}},
        {{"-enumdir", "d", "-jrnlfile", "-log"}, {true, true, false, true}},
    };
    for (const auto& [args, expected] : rows) {
        const parsed p(args);
        EXPECT_EQ(std::tuple(p.accepted, p.options.have_log, p.options.have_mft, p.options.have_jrnl), expected)
            << ::testing::PrintToString(args);
        EXPECT_EQ(p.options.all_records, p.options.have_mft);
    }
}

TEST(parse_options, kept_an_offset_has_no_effect_among_numbers_and_flags) {
    const parsed p(words("-log x -base16 -offset 0x100 -base10 -stats -no_guesses -profile -num_subdirs 0x100000003"));
    EXPECT_TRUE(p.accepted && p.left.empty());
    const logfile_options& o = p.options;
    EXPECT_EQ(std::tuple(o.base16, o.stats_requested, o.guesses_allowed, o.profile, o.num_subdirs),
              std::tuple(true, true, false, true, 3U));
}

TEST(parse_options, kept_formats_are_judged_by_length) {
    const cv::format_flags standard = cv::compile_format("yyyy-mm-dd", "hh:mm:ss.xxx", false);
    const std::tuple<const char*, const char*, cv::format_flags> rows[] = {
        {"-dateformat", "MM/DD/YY", cv::compile_format("mm/dd/yy", "hh:mm:ss.xxx", false)},
        {"-dateformat", "dd-mmm-yy", standard},
        {"-dateformat", "", standard},
        {"-dateformat", "nonsense", {}},
        {"-timeformat", "hh:mm:ss", cv::compile_format("yyyy-mm-dd", "", false)},
        {"-timeformat", "hh:mm:ss.xx", standard},
        {"-timeformat", "hh:mm:ss.xxxxxxxxx", cv::compile_format("yyyy-mm-dd", "xxxxxxxxx", false)},
        {"-timeformat", "hhmmss.xxxxxx", standard},
    };
    for (const auto& [option, value, expected] : rows)
        EXPECT_EQ(parsed({option, value, "-log", "x"}).options.time_format, expected) << value;
    EXPECT_TRUE(parsed({"-dateformat", "nonsense", "-pair_datetime"}).options.time_format.compiled());
}

TEST(parse_options, kept_an_empty_alias_is_none_but_an_empty_alias_path_is_half_a_pair) {
    const std::tuple<const char*, bool, bool> rows[] = {
        {"a|b", true, true}, {"a", false, false}, {"a|b|c", false, false}, {"", true, false}};
    for (const auto& [value, as_alias, as_alias_path] : rows) {
        EXPECT_EQ(parsed({"-alias", value, "-pipe"}).accepted, as_alias) << value;
        EXPECT_EQ(parsed({"-aliaspath", value, "-pipe"}).accepted, as_alias_path) << value;
    }
}

constexpr std::uint64_t march_16 = 134'180'928'000'000'000;  // 2026-03-16 00:00:00
constexpr std::uint64_t hour = 36'000'000'000;

TEST(parse_options, kept_time_bounds) {
    using bounds = std::tuple<bool, bool, std::uint64_t, std::uint64_t>;
    // start and stop; whether accepted; which are set, and to what
    const std::tuple<const char*, const char*, bool, bounds> rows[] = {
        {"2026-03-16", nullptr, true, {true, true, march_16, UINT64_MAX}},
        {"2026/3/16 01:00:00", "2026-03-16 02:00:00", true, {true, true, march_16 + hour, march_16 + 2 * hour}},
        {nullptr, "2026-03-16", true, {false, true, 0, march_16 + 24 * hour - 10'000'000}},
        {"2026-03-16", "2026-03-16 00:00:00", true, {true, true, march_16, march_16}},
        {nullptr, "2026-03-16 ", true, {false, true, 0, march_16}},  // kept: with a blank behind it, midnight
        {"2026-03-16 02:00:00", "2026-03-16 01:59:59", true, {true, false, march_16 + 2 * hour, 0}},
        {"2026-02-29", "2026-03-16 24:00:00", true, {}},
        {"2026/03-16", nullptr, true, {}},  // "/" goes first
        {"20260316", nullptr, false, {}},
        {nullptr, " 12:00:00", false, {}},
    };
    for (const auto& [start, stop, accepted, expected] : rows) {
        argument_list args{"-pipe"};
        if (start != nullptr) args.insert(args.end(), {"-cmd_start_time", start});
        if (stop != nullptr) args.insert(args.end(), {"-cmd_stop_time", stop});
        const parsed p(args);
        const auto [begin, end] = std::pair(p.options.start_bound, p.options.stop_bound);
        EXPECT_EQ(p.accepted, accepted) << ::testing::PrintToString(args);
        EXPECT_EQ(bounds(begin.set, end.set, begin.ticks, end.ticks), expected) << ::testing::PrintToString(args);
    }
}

// An option that is taken lets what stands behind it move up to the input option.
TEST(parse_options, evidence_is_known_behind_other_options) {
    const disk::scratch_folder folder;
    const std::string log = folder.put("log", "evidence");
    const argument_list rows[] = {{"-log", "-csv", log, "-out", log},
                                  {"-log", "-outfile", log, log},
                                  {"-mftfile", "-diags", log, log},
                                  {"-jrnlfile", "-hostname", "-out", log, "-out", log}};
    for (const argument_list& args : rows) {
        static_cast<void>(parsed(args));
        EXPECT_EQ(disk::contents_of(log), "evidence") << ::testing::PrintToString(args);
    }
}

TEST(parse_options, kept_the_results_file_is_deleted_by_its_proof) {
    const disk::scratch_folder folder;
    const std::string old = folder.put("old", "FILE, an older report");
    ::setenv("KEST_OUT", folder.at("").c_str(), 1);
    const parsed p({"-log", "x", "-out", "%KEST_OUT%\\old", "-append"});
    EXPECT_TRUE(p.accepted);
    EXPECT_EQ(p.options.out_path, folder.at("/old"));
    EXPECT_FALSE(std::filesystem::exists(old));
    ASSERT_EQ(::symlink("/dev/null", folder.at("link").c_str()), 0);
    EXPECT_TRUE(parsed({"-log", "x", "-outfile", folder.at("link")}).accepted);
    EXPECT_TRUE(std::filesystem::is_symlink(folder.at("link")));
}

using number = std::optional<std::uint64_t>;

TEST(parse_number, kept_octal_is_read_as_hexadecimal) {
    // Of two characters "x1" is decimal; whatever stands before the sign.
    const number none;
    const std::pair<const char*, number> rows[] = {
        {"256", 256},  {"0x100", 256}, {"x1F", 0x1F}, {"zX1f", 0x1F}, {"x1", none}, {"  7", 7},
        {"7 ", none},  {"", none},     {"  ", none},  {"-1", none},   {"1g", none}, {"0x", none},
        {"0xg", none}, {"o17", 0x17},  {"Of", 0xF},   {"o", none},
    };
    for (const auto& [text, expected] : rows)
        EXPECT_EQ(parse_number(text), expected) << '"' << text << '"';
    EXPECT_EQ(parse_number(std::string(40, ' ') + "7"), number(7));
    EXPECT_EQ(parse_number("0xFFFFFFFFFFFFFFFF"), number(UINT64_MAX));
    EXPECT_EQ(parse_number("0x0FFFFFFFFFFFFFFFF"), none);        // 17 digits
    EXPECT_EQ(parse_number("18446744073709551617"), number(1));  // wraps
    EXPECT_EQ(parse_number("018446744073709551617"), none);
    EXPECT_EQ(parse_number('o' + std::string(21, '0') + '1'), number(1));
    EXPECT_EQ(parse_number('o' + std::string(22, '0') + '1'), none);
}

TEST(expand_environment, replaces_known_names_once) {
    ::setenv("KEST_A", "%KEST_B%", 1);
    ::setenv("KEST_B", "b", 1);
    const std::string long_text = std::string(504, '/') + "%KEST_B%";
    const std::pair<std::string, std::string> rows[] = {
        {"/x/%KEST_B%/y", "/x/b/y"},
        {"%KEST_A%%KEST_B%", "%KEST_B%b"},                    // what was put in is not looked at again
        {"%KEST_NONE%KEST_B%KEST_B%", "%KEST_NONE%KEST_Bb"},  // an unknown name takes both its signs along
        {"%%KEST_B%", "%%KEST_B%"},
        {"100%", "100%"},
        {long_text, std::string(504, '/') + 'b'},
        {'/' + long_text, '/' + long_text},
    };
    for (const auto& [text, expected] : rows)
        EXPECT_EQ(expand_environment(text), expected);
}

}  // namespace
}  // namespace kest
