// The command line, by what runs make of it.

#include <regex>

#include "options/option_values.h"
#include "portable/file.h"
#include "support/made_run.h"

namespace kest {
namespace {

using disk::run_captured;

argument_list with(argument_list args, const argument_list& more) {
    args.insert(args.end(), more.begin(), more.end());
    return args;
}

// A log of one record, whose row has a time.
const disk::memory_file log_file(
    disk::log_of_pages({{.lsn = 8, .redo_op = 8, .vcn = 0x140, .redo = disk::usn_image{}.image()}}));
const argument_list log_args = {"-quiet", "-log", log_file.path()};

// The line after the three of the head, up to its second column.
std::string column_line(const argument_list& args) {
    std::istringstream out(run_captured(with(args, log_args)).out);
    std::string line;
    for (int lines = 0; lines < 4 && std::getline(out, line); ++lines)
        line += '\n';
    return std::regex_replace(line.substr(0, line.find("ref") + 3), std::regex(" +"), " ");
}

TEST(options, shapes_exclude_each_other_in_a_fixed_order) {
    const std::pair<argument_list, std::string> rows[] = {
        {{"-csvgen"}, "time,ref"},
        {{"-csv", "-multiline"}, "timeref"},
        {{"-multiline", "-xml"}, "time ref"},
        {{"-csv", "-pair_datetime", "-multiline"}, "time ref"},
        {{"-csv_separator", "; |", "-no_whitespace"}, "time;|ref"},
        {{"-csv_separator", "TAB"}, "time \tref"},
        {{"-csv_separator", "\\t"}, "time \tref"},
        {{"-csv_separator", "tabs", "-csv"}, "time tabsref"},
        {{"-bodyfile", "-csv"}, ""},
        {{"-csvl2t", "-csvgen"}, ""},
    };
    for (const auto& [args, expected] : rows)
        EXPECT_EQ(column_line(args), expected) << ::testing::PrintToString(args);
}

TEST(options, columns_are_known_and_stand_once) {
    const std::pair<argument_list, std::string> rows[] = {
        {{"-columns", "lsn,foo\n", "-events"}, "no such column: foo[LF]\n"},
        {{"-columns", "clock"}, "no such column: clock\n"},
        {{"-columns", "lcn", "-events"}, "no such column: lcn\n"},
        {{"-columns", "lsn,"}, "no such column: \n"},
        {{"-columns", ""}, "no such column: \n"},
        {{"-columns", "path,lsn,PATH", "-jsonl"}, "column named twice: PATH\n"},
        {{"-columns", "lsn", "-stats", "-events"}, "-columns is for rows, events, -extents, -content and -list only\n"},
        {{"-columns", "lsn", "-coverage"}, "-columns is for rows, events, -extents, -content and -list only\n"},
        {{"-columns", "lsn", "-xml"}, "-columns is for rows, events, -extents, -content and -list only\n"},
    };
    for (const auto& [args, words] : rows) {
        const disk::captured_run result = run_captured(with(args, log_args));
        EXPECT_EQ(result.err, words) << ::testing::PrintToString(args);
        EXPECT_EQ(result.out, "");
        EXPECT_NE(result.status, 0);
    }
}

TEST(options, the_volume_of_an_event_is_a_folder) {
    const disk::scratch_folder folder;
    const std::string log = disk::contents_of(log_file.path());
    const std::string root = folder.at("a");
    for (const char* name : {"a/b/LogFile", "a//b//LogFile"})
        folder.put(name, log);
    const std::pair<std::string, std::string> rows[] = {{root + "/b/LogFile", root + "/b"},
                                                        {root + "//b//LogFile", root + "//b"}};
    for (const auto& [path, volume] : rows) {
        const argument_list args = {"-events", "-columns", "volume,file", "-csv", "-quiet", "-log", path};
        EXPECT_EQ(run_captured(args).out, "volume,file\n" + volume + ',' + path + '\n');
    }
}

// An option that takes a value takes "-stats" for it.
TEST(options, of_no_effect_are_taken_with_their_values) {
    const std::string flags = "-gzip -zlib -split_pathfile -separate_files -verbose -v";
    const std::string values =
        "-threads -zlibex -signal -hostname -username -cpuinst -cpu -fragment_files -outdir -filter "
        "-num_subdirs";
    for (const auto& [options, counted] : {std::pair(flags, true), std::pair(values, false)}) {
        std::istringstream all(options);
        for (std::string option; all >> option;)
            EXPECT_EQ(run_captured(with({option, "-stats"}, log_args)).out.find("#hits") != std::string::npos, counted)
                << option;
    }
    EXPECT_EQ(run_captured(with({"-offset", "-mftfile", "missing"}, log_args)).status, 0);
    EXPECT_NE(run_captured(with({"-filter_path", "-stats"}, log_args)).out.find("#hits"),
              std::string::npos);  // there is no filter
}

TEST(options, ask_for_an_input) {
    const std::pair<argument_list, std::string> rows[] = {
        {{"-quiet"}, "Need to specify a $LogFile in your arguments [-log <file>]\n\n"},
        {{"-mftfile", "/", "-jrnlfile", "/"}, "Need to specify a $LogFile in your arguments [-log <file>]\n\n"},
        {{"-log", ""}, "kest - limited"},
        {{"-pipe", "-cmd_start_time", "20260316"}, "kest - limited"},
    };
    for (const auto& [args, said] : rows) {
        const disk::captured_run refused = run_captured(args);
        EXPECT_EQ(refused.status, -1);
        EXPECT_TRUE(refused.err.starts_with(said)) << ::testing::PrintToString(args);
    }
    for (const argument_list& args : std::vector<argument_list>{{}, {"-out", "x", "/?"}, {"--HELP"}}) {
        const disk::captured_run help = run_captured(args);
        EXPECT_EQ(std::pair(help.status, help.out), std::pair(0, std::string()));
        EXPECT_TRUE(help.err.starts_with("kest - limited ver: 0.23 - NTFS $LogFile analyser\n\nUsage\n"));
    }
    EXPECT_EQ(run({}), -1);
}

TEST(options, kept_formats_are_judged_by_length) {
    const std::tuple<const char*, const char*, std::string> rows[] = {
        {"-dateformat", "MM/DD/YY", "12/14/2012 23:06:40.000000000"},
        {"-dateformat", "dd-mmm-yy", "2012-12-14 23:06:40.000000000"},
        {"-dateformat", "", "2012-12-14 23:06:40.000000000"},
        {"-dateformat", "nonsense", " 23:06:40.000000000"},
        {"-timeformat", "hh:mm:ss", "2012-12-14 23:06:40.000000000"},
        {"-timeformat", "hhmmss.xxxxxx", "2012-12-14 23:06:40.000000000"},
    };
    for (const auto& [option, value, expected] : rows) {
        const disk::bytes log =
            disk::log_of_pages({{.lsn = 8, .redo_op = 8, .vcn = 0x140, .redo = disk::usn_image{}.image()}});
        EXPECT_EQ(disk::rows_of(log, {}, {}, {option, value})[0][disk::time_cell], expected) << value;
    }
    const std::string host = disk::contents_of("/proc/sys/kernel/hostname");
    const auto stamped = [&host](const argument_list& args, const char* date) {
        const std::regex stamp("\nrun time: " + std::string(date) + " \\d\\d:\\d\\d:\\d\\d UTC; host: " + host);
        return std::regex_search(run_captured(args).out, stamp);
    };
    EXPECT_TRUE(stamped({"-x"}, "\\d\\d/\\d\\d/\\d{4}"));
    EXPECT_TRUE(stamped({"-dateformat", ""}, "\\d\\d/\\d\\d/\\d{4}"));
    EXPECT_TRUE(stamped({"-dateformat", "dd-mmm-yy"}, "\\d\\d-[A-Z][a-z][a-z]-\\d{4}"));  // not judged by its length
}

TEST(options, kept_an_empty_alias_is_none_but_an_empty_alias_path_is_half_a_pair) {
    const std::tuple<const char*, int, int> rows[] = {{"a|b", 0, 0}, {"a", -1, -1}, {"a|b|c", -1, -1}, {"", 0, -1}};
    for (const auto& [value, as_alias, as_alias_path] : rows) {
        EXPECT_EQ(run_captured(with({"-alias", value}, log_args)).status, as_alias) << value;
        EXPECT_EQ(run_captured(with({"-aliaspath", value}, log_args)).status, as_alias_path) << value;
    }
}

TEST(options, refuse_separators_that_are_like_values_in_younger_runs_only) {
    const disk::scratch_folder folder;
    const std::string log = std::string(KEST_SAMPLES) + "/LogFile", kept = folder.put("kept", "as it was");
    const std::string words = "separator cannot be told from values, aborting: ";
    const std::tuple<const char*, argument_list, std::string> rows[] = {
        {"x1", {"-events"}, words},     {" : ", {"-undo"}, words}, {" ", {"-cut"}, words},
        {" ", {"-cut", "-csv"}, words}, {"x1", {"-csv"}, ""},      {"TAB", {"-events"}, ""},
    };
    for (auto [separator, args, err] : rows) {
        args.insert(args.end(), {"-csv_separator", separator, "-log", log, "-quiet"});
        if (!err.empty()) args.insert(args.end(), {"-out", kept});
        const std::string said = run_captured(args).err;
        EXPECT_EQ(said.substr(0, words.size()), err) << separator;
    }
    EXPECT_EQ(disk::contents_of(kept), "as it was");
}

TEST(filters, one_is_enough) {
    const disk::scratch_folder folder;
    const std::string log = folder.put("Case/LogFile.1", "....RSTR");
    const std::string root = folder.at("");
    const std::pair<argument_list, bool> rows[] = {
        {{}, true},
        {{"-filter", "logfile.?"}, true},
        {{"-filter", "*file"}, false},
        {{"-filter", "l*f*1**"}, true},
        {{"-filter", "case*"}, false},  // the name alone
        {{"-filter", "*CASE/log*"}, true},
        {{"-filter", "*.bin,|*.1"}, true},
        {{"-filter", "|,"}, true},  // no filter at all
        {{"-filter", "no", "-filter", "log*"}, true},
        {{"-filter", "no", "-filter_path", root + "case/"}, true},
        {{"-filter", "no", "-filter_path", "case"}, false},
        {{"-filter_sig", "52535452,4"}, true},
        {{"-filter_sig", "52535452|0x5"}, false},
        {{"-filter_sig", "2e2e|4|z"}, true},  // an offset only as the last of two
        {{"-filter_sig", "2e", "-filter", "no"}, true},
        {{"-filter_sig", "5253545200|4"}, false},  // reaches beyond the end
        {{"-filter_sig", "bad"}, true},            // half a byte, so no filter
        {{"-filter_sig", "2ezz"}, true},           // likewise
    };
    for (const auto& [args, read] : rows)
        EXPECT_EQ(disk::wanted(log, args), read) << ::testing::PrintToString(args);
    EXPECT_EQ(disk::wanted("", {}), false);
    EXPECT_EQ(disk::wanted(folder.at("missing"), {"-filter_sig", "2e"}), false);
    std::string stars;
    for (int i = 0; i < 200; ++i)
        stars += "*a";
    EXPECT_EQ(disk::wanted(std::string(4000, 'a'), {"-filter", stars + "b"}), false);  // ends
}

// The second record has no sequence number, so it tells nothing of a number that is known.
TEST(diagnostics, kept_no_file_is_unique_after_one_that_is_known) {
    std::vector<disk::record> records;
    for (const std::uint64_t file : {0x1'0000'0000'0028ull, 0x28ull, 0x1'0000'0000'0029ull})
        records.push_back({.lsn = 8 + records.size(), .redo_op = 8, .redo = disk::usn_image{.file = file}.image()});
    const disk::scratch_folder folder;
    const std::string diags = folder.at("diags");
    const auto diagnosed = [&](const argument_list& more) {
        argument_list args = {"-diags", diags, "-l2"};
        args.insert(args.end(), more.begin(), more.end());
        disk::rows_of(disk::log_of_pages(records), {}, disk::bytes(4096), args);
        return disk::contents_of(diags);
    };
    const std::string text = diagnosed({});
    EXPECT_NE(text.find("found 3 mft entries [logfile-usnjrnl], 1 were unique"), text.npos) << text;
    const std::string of_cut = diagnosed({"-cut"});
    EXPECT_NE(of_cut.find("found 3 mft entries [logfile-usnjrnl], "), of_cut.npos) << of_cut;
}

using number = std::optional<std::uint64_t>;

TEST(parse_number, kept_octal_is_read_as_hexadecimal) {
    // Of two characters "x1" is decimal; whatever stands before the sign.
    const number none;
    const std::pair<const char*, number> rows[] = {
        {"256", 256},  {"0x100", 256}, {"x1F", 0x1F}, {"zX1f", 0x1F}, {"x1", none},   {"  7", 7},
        {"7 ", none},  {"", none},     {"  ", none},  {"-1", none},   {"1g", none},   {"0x", none},
        {"0xg", none}, {"o17", 0x17},  {"Of", 0xF},   {"o", none},    {"0x1:", none}, {"0x@", none},
    };
    for (const auto& [text, expected] : rows)
        EXPECT_EQ(parse_number(text), expected) << '"' << text << '"';
    EXPECT_EQ(parse_number("0xFFFFFFFFFFFFFFFF"), number(UINT64_MAX));
    EXPECT_EQ(parse_number("0x0FFFFFFFFFFFFFFFF"), none);        // 17 digits
    EXPECT_EQ(parse_number("18446744073709551617"), number(1));  // wraps
    EXPECT_EQ(parse_number("018446744073709551617"), none);
    EXPECT_EQ(parse_number('o' + std::string(21, '0') + '1'), number(1));
    EXPECT_EQ(parse_number('o' + std::string(22, '0') + '1'), none);
}

TEST(expand_environment, replaces_known_names_once) {
    disk::set_variable("KEST_A", "%KEST_B%");
    disk::set_variable("KEST_B", "b");
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
